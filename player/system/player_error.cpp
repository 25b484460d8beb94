#include "player/system/player_error.h"

#include "win/error_text.h"

#include <windows.h>

namespace player {

std::string file_error_text(const std::string& path, const char* what, uint32_t code)
{
    std::string advice;
    switch (code) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
        advice = "; check the path";
        break;
    case ERROR_INVALID_NAME:
        advice = "; choose another name";
        break;
    case ERROR_ACCESS_DENIED:
        advice = "; choose a file or folder that you may access";
        break;
    case ERROR_SHARING_VIOLATION:
        advice = "; close the program that uses it";
        break;
    case ERROR_DISK_FULL:
        advice = "; free some space";
        break;
    default:
        break;
    }
    return path + ": " + what + ": " + win::error_text(code) + advice;
}

void throw_file_error(const std::string& path, const char* what, uint32_t code)
{
    throw player_error(file_error_text(path, what, code));
}

} // namespace player
