#include "sdk/console.h"

#include "sdk/host_api.h"

void console::print(std::string_view line)
{
    service_get_unique<console_service>()->print_line(line.data(), line.size());
}
