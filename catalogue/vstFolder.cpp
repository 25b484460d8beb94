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

namespace {

// `folder` and `child` with one backslash between them.
std::string appended(std::string folder, std::string_view child)
{
    if (!folder.empty() && !folder.ends_with('\\'))
        folder += '\\';
    return folder.append(child);
}

} // namespace

std::vector<vstFolder_t> composeDefaultFolders(const environment_reader& environment)
{
    std::vector<vstFolder_t> folders;
    folders.reserve(4);
    const auto x86_programs = environment("ProgramFiles(x86)");
    const auto x64_programs = environment("ProgramW6432");
    if (x86_programs && x64_programs) {
        for (const std::string& programs : {*x86_programs, *x64_programs})
            folders.push_back(
                {appended(appended(programs, "Steinberg"), "VstPlugins"), vstFolder_t::vst2_home});
    }
    const auto x86_common = environment("CommonProgramFiles(x86)");
    const auto x64_common = environment("CommonProgramW6432");
    if (x86_common && x64_common) {
        for (const std::string& common : {*x86_common, *x64_common})
            folders.push_back({appended(common, "VST3"), vstFolder_t::vst3_home});
    }
    return folders;
}
