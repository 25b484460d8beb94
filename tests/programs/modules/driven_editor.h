#pragma once
// The editor that driven_messages.h describes.

#include "effects/bare/effect.h"

#include <functional>
#include <memory>

std::unique_ptr<bare::editor> make_driven_editor(bare::effect& edited, std::function<double()> heard);
