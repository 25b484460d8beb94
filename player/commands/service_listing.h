#pragma once
#include "sdk/service_factory.h"

#include <string>
#include <vector>

namespace player {

// What a person wants to know of one registered service.
struct service_description {
    std::string
        class_name;   // the plain word, such as "dsp_entry"; the GUID for a class this player does not know
    std::string kind; // "single", "singleton" or "multi"
    guid_t guid;      // the service's own where it has one, else the class's
    std::string name; // label, DSP, component or command name; may be empty
};

// In list order, the last one registered first.
std::vector<service_description> list_services(service_factory_base* head);

} // namespace player
