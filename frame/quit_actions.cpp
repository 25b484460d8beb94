#include "frame/quit_actions.h"

#include <utility>
#include <vector>

namespace {

std::vector<std::function<void()>>& actions()
{
    static std::vector<std::function<void()>> list;
    return list;
}

} // namespace

void add_quit_action(std::function<void()> action)
{
    actions().push_back(std::move(action));
}

void quit_actions::on_quit()
{
    const auto pending = std::exchange(actions(), {});
    for (auto action = pending.rbegin(); action != pending.rend(); ++action) {
        try {
            (*action)();
        } catch (...) {
            // The others still have to run.
        }
    }
}
