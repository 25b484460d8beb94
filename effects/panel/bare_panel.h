#pragma once
// The panel as the editor of a bare effect: a slider for each of its parameters.

#include "effects/bare/effect.h"
#include "effects/panel/window.h"

namespace panel {

// `levels` may be null; it outlives the editor, as does the effect. `shown` may be null.
std::unique_ptr<bare::editor> make_bare_panel(const bare::effect& what, level_feeds* levels,
                                              std::unique_ptr<picture> shown = nullptr);

} // namespace panel
