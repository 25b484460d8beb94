#include "catalogue/vstFolder.h"

std::vector<std::string> splitPaths(std::string_view text)
{
    std::vector<std::string> paths;
    for (;;) {
        const size_t line_feed = text.find('\n');
        if (line_feed == std::string_view::npos) {
            paths.emplace_back(text);
            return paths;
        }
        std::string_view piece = text.substr(0, line_feed);
        while (piece.ends_with('\r'))
            piece.remove_suffix(1);
        paths.emplace_back(piece);
        text.remove_prefix(line_feed + 1);
    }
}

std::string joinPaths(const std::vector<std::string>& paths)
{
    std::string text;
    for (size_t i = 0; i < paths.size(); ++i) {
        if (i != 0)
            text += '\n';
        text += paths[i];
    }
    return text;
}

std::vector<std::string> withoutEmpty(std::vector<std::string> paths)
{
    std::erase_if(paths, [](const std::string& path) { return path.empty(); });
    return paths;
}
