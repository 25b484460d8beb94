#include "ui/channel_layout.h"

#include <iterator>

std::string channelMaskText(uint32_t mask)
{
    static constexpr struct {
        const char* name;
        uint32_t mask;
    } layouts[] = {{"mono", 0x4},         {"stereo", 0x3}, {"stereo (rear)", 0x30}, {"stereo (side)", 0x600},
                   {"2.1", 0xB},          {"3.0", 0x7},    {"4.0", 0x33},           {"4.1", 0x3B},
                   {"5.0", 0x37},         {"5.1", 0x3F},   {"5.1 (side)", 0x60F},   {"6.1", 0x13F},
                   {"6.1 (side)", 0x70F}, {"7.1", 0x63F}};
    static constexpr const char* speakers[] = {"FL", "FR", "FC", "LFE", "BL",  "BR",  "FCL", "FCR", "BC",
                                               "SL", "SR", "TC", "TFL", "TFC", "TFR", "TBL", "TBC", "TBR"};
    if (mask == 0)
        return "<no override>";
    for (const auto& layout : layouts) {
        if (layout.mask == mask)
            return layout.name;
    }
    std::string text;
    for (unsigned bit = 0; bit < 32; ++bit) {
        if (mask >> bit & 1)
            text += std::string(text.empty() ? "" : " ") + (bit < std::size(speakers) ? speakers[bit] : "?");
    }
    return text;
}
