// The player's store, and what the window reads out of it: accepted text comes back from being written.

#include "catalogue/small_host.h"
#include "fuzz/require.h"
#include "player/services/store_text.h"
#include "player/window/session.h"
#include "player/window/shortcuts.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    using namespace player;
    if (const auto values = parse_store({data, size})) {
        const std::string text = store_text(*values);
        const auto again = parse_store({reinterpret_cast<const uint8_t*>(text.data()), text.size()});
        require(again && store_text(*again) == text);
    }

    const std::string text(reinterpret_cast<const char*>(data), size);
    live_chain chain;
    if (chain_from_text(text, chain)) {
        const std::string written = chain_to_text(*chain.get());
        live_chain same;
        require(chain_from_text(written, same) && chain_to_text(*same.get()) == written);
    }
    if (const auto place = place_from_text(text)) {
        require(place_from_text(place_to_text(*place)) == place);
        const window_place shown = on_screen(*place, 0, 0, 1920, 1080);
        require(shown.left >= 0 && shown.top >= 0 && shown.width <= 1920 && shown.height <= 1080);
    }
    const auto store = service_new<counting_store>();
    store->texts[shortcuts::store_key] = text;
    shortcuts keys(store);
    keys.bind({1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}}, {true, false, false, 'K'});
    const shortcuts again(store);
    require(again.find({true, false, false, 'K'}).has_value());
    return 0;
}
