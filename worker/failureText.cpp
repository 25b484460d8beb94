#include "worker/failureText.h"

#include "sdk/exceptions.h"
#include "win/error_text.h"

#include <new>

std::string Nv::failureText(const std::exception& failure)
{
    if (const auto* const refused = dynamic_cast<const exception_win32*>(&failure))
        return win::error_text(refused->code());
    if (dynamic_cast<const std::bad_alloc*>(&failure))
        return "not enough memory; close other programs and try again";
    return failure.what();
}
