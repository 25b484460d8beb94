#include "win/nearest_word.h"

#include <algorithm>
#include <utility>

namespace {

char lower(char letter) noexcept
{
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

// Letters put in, left out, changed or exchanged with their neighbour.
size_t edit_distance(std::string_view a, std::string_view b)
{
    const auto same = [&](size_t i, size_t j) { return lower(a[i - 1]) == lower(b[j - 1]); };
    std::vector<size_t> before, above, row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j)
        row[j] = j;
    for (size_t i = 1; i <= a.size(); ++i) {
        before = std::exchange(above, row);
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            row[j] = std::min({above[j] + 1, row[j - 1] + 1, above[j - 1] + (same(i, j) ? 0 : 1)});
            if (i > 1 && j > 1 && same(i, j - 1) && same(i - 1, j))
                row[j] = std::min(row[j], before[j - 2] + 1);
        }
    }
    return row[b.size()];
}

std::string_view without_dashes(std::string_view word) noexcept
{
    return word.substr(std::min(word.find_first_not_of('-'), word.size()));
}

bool is_letter(char given) noexcept
{
    return lower(given) >= 'a' && lower(given) <= 'z';
}

} // namespace

std::string win::nearest_word(std::string_view given, const std::vector<std::string>& words)
{
    std::string nearest;
    // From there on it is another word. What is no letter, as in "6.1", says nothing about what was meant.
    size_t nearest_distance = (static_cast<size_t>(std::ranges::count_if(given, is_letter)) + 1) / 3 + 1;
    for (const std::string& word : words) {
        const size_t distance = edit_distance(without_dashes(given), without_dashes(word));
        if (distance < nearest_distance) {
            nearest = word;
            nearest_distance = distance;
        }
    }
    return nearest;
}
