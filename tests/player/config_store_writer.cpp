// Changes the store it is given for ever, to be ended in the middle of a change.
//   config_store_writer STORE.json
// Creates STORE.json.started once the first change is on the disk.

#include "player/services/json_config_store.h"
#include "player/system/whole_file.h"
#include "win/utf.h"

#include <string>

int wmain(int argument_count, wchar_t** argument_values)
{
    if (argument_count != 2)
        return 2;
    const std::string path = win::to_utf8(argument_values[1]);
    const auto store = service_new<player::json_config_store>(path);
    for (unsigned i = 0;; ++i) {
        // Large enough that a write takes a while; all of one letter, so that a mixture would show.
        const std::string text(100'000, static_cast<char>('a' + i % 26));
        store->set_string("text", text.c_str());
        if (i == 0)
            player::replace_whole_file(path + ".started", {});
    }
}
