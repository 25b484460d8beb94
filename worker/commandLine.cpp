#include "worker/commandLine.h"

#include "sdk/dsp.h"

namespace Nv {

namespace {

std::string hexadecimal(uintptr_t value)
{
    static const char digits[] = "0123456789abcdef";
    std::string text;
    do {
        text.insert(text.begin(), digits[value & 15]);
        value >>= 4;
    } while (value);
    return text;
}

// All audio on the pipe is 64-bit IEEE floating point.
void addSampleFormat(argumentList& options)
{
    options.insert(options.end(), {"--formattag", "3", "--bits", "64"});
}

void addYesNo(argumentList& options, const char* option, bool value)
{
    options.insert(options.end(), {option, value ? "yes" : "no"});
}

} // namespace

std::string folderOf(std::string_view path)
{
    const size_t separator = path.find_last_of("/\\:|");
    return std::string(path.substr(0, separator == std::string_view::npos ? 0 : separator + 1));
}

std::string workerFileName(std::string_view arch)
{
    const std::string_view text = arch.substr(0, arch.find('\0'));
    return text == "x64" ? "qvxVSTHost64.exe" : "qvxVSTHost32.exe";
}

argumentList processOptions(const vstConfig_t& effect, uint32_t dspFlags)
{
    argumentList options;
    addSampleFormat(options);
    options.insert(options.end(), {"--protocol", "chunked"});
    options.insert(options.end(), {"--float64", effect.flags & vstFlagFloat64 ? "1" : "0"});
    options.insert(options.end(), {"--process", dspFlags & dsp_flag_realtime ? "realtime" : "offline"});
    return options;
}

argumentList configureOptions(bool dpiAware, const std::string& dataFile, uintptr_t parentWindow)
{
    argumentList options;
    addYesNo(options, "--dpi-aware", dpiAware);
    options.insert(options.end(), {"--data", dataFile});
    options.insert(options.end(), {"--parent-window", hexadecimal(parentWindow)});
    addSampleFormat(options);
    options.insert(options.end(), {"--process", "realtime"});
    return options;
}

argumentList visualizationOptions(bool dpiAware, uintptr_t parentWindow)
{
    argumentList options;
    addYesNo(options, "--dpi-aware", dpiAware);
    options.insert(options.end(), {"--parent-window", hexadecimal(parentWindow)});
    addSampleFormat(options);
    options.insert(options.end(), {"--window-title", "VST Visualization"});
    options.insert(options.end(), {"--process", "realtime"});
    return options;
}

argumentList workerArguments(const std::string& executable, std::string_view mode,
                             const std::string& nativePath, int vstVersion, const argumentList& options,
                             const std::string& pipeName)
{
    argumentList arguments = {executable, std::string(mode), "--vst",
                              nativePath, "--vst-version",   std::to_string(vstVersion)};
    arguments.insert(arguments.end(), options.begin(), options.end());
    if (!pipeName.empty())
        arguments.insert(arguments.end(), {"--pipe", pipeName});
    return arguments;
}

std::string joinCommandLine(const argumentList& arguments)
{
    std::string line;
    for (const std::string& argument : arguments) {
        if (!line.empty())
            line += ' ';
        const bool quoted = argument.find(' ') != std::string::npos;
        line += quoted ? '"' + argument + '"' : argument;
    }
    return line;
}

} // namespace Nv
