#pragma once
// What the window keeps from run to run, as texts for the store. Pure.

#include "player/chain/live_chain.h"

#include <optional>
#include <string>

namespace player {

constexpr const char* chain_store_key = "player.chain";
constexpr const char* window_store_key = "player.window";
constexpr const char* file_store_key = "player.file"; // the last file

// The chain with its presets, and back: appends what the text holds; false when it is damaged, and nothing is
// appended then. An empty text is an empty chain.
std::string chain_to_text(const chain_slots& slots);
bool chain_from_text(const std::string& text, live_chain& chain);

struct window_place {
    int left = 0, top = 0, width = 0, height = 0;
    bool maximised = false;

    friend bool operator==(const window_place&, const window_place&) = default;
};
std::string place_to_text(const window_place& place);
std::optional<window_place> place_from_text(const std::string& text);
// The place moved and cut so that it lies on the screen, at least 200 by 150.
window_place on_screen(window_place place, int left, int top, int right, int bottom);

// "1:02", "1:00:05"; what is no time is "0:00".
std::string time_text(double seconds);

// Where the bar of a level ends, 0 to 1: -60 dB to full scale.
double meter_share(double peak);

} // namespace player
