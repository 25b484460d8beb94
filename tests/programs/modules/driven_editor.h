#pragma once
// The editor that driven_messages.h describes.

#include "effects/bare/effect.h"

#include <functional>
#include <memory>

// `heard` gives the loudest sample; `reload` asks the host for it.
std::unique_ptr<bare::editor> make_driven_editor(bare::effect& edited, std::function<double()> heard,
                                                 std::function<void()> reload);
