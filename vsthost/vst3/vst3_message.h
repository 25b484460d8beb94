#pragma once
// IMessage and IAttributeList: what component and controller of one effect send to each other.

#include "vsthost/vst3/vst3_abi.h"

namespace vsthost::v3 {

// One reference goes to the caller, as the interface `iid`.
v3_result make_message(const uint8_t* iid, void** object);
v3_result make_attribute_list(const uint8_t* iid, void** object);

} // namespace vsthost::v3
