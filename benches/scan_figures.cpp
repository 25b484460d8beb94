// A scan held against opening each candidate and reading its first 4 KiB, folder by folder in turn.

#include "benches/bare_pipe.h"
#include "benches/figures.h"
#include "catalogue/image_builder.h"
#include "catalogue/scanFolders.h"
#include "catalogue/small_host.h"
#include "player/services/native_filesystem.h"
#include "sdk/abort_callback_impl.h"
#include "support/temp_folder.h"
#include "win/long_path.h"

namespace bench {

namespace {

constexpr size_t files_each = 10;

// Folders with one plug-in each among libraries of somebody's, which are read to their last name.
std::vector<std::string> candidates(const temp_folder& top, size_t folder_count)
{
    image_builder other;
    other.names = {"DllCanUnloadNow", "DllGetClassObject", "DllRegisterServer", "DllUnregisterServer"};
    auto other_bytes = other.build();
    auto plug_bytes = image_builder().build();
    other_bytes.resize(16384);
    plug_bytes.resize(16384);
    std::vector<std::string> folders;
    for (size_t i = 0; i < folder_count; ++i) {
        const std::string folder = "f" + std::to_string(i);
        top.make(folder);
        folders.push_back(top.path(folder));
        for (size_t k = 0; k < files_each; ++k)
            top.write(folder + "\\m" + std::to_string(k) + ".dll", k == 0 ? plug_bytes : other_bytes);
    }
    return folders;
}

void read_first_block(const std::string& path)
{
    const win::file_handle file(CreateFileW(win::long_path(path).c_str(), GENERIC_READ,
                                            FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                                            nullptr));
    char block[4096];
    DWORD got = 0;
    if (!file || !ReadFile(file.get(), block, sizeof block, &got, nullptr) || got != sizeof block)
        fail("a candidate cannot be read");
}

} // namespace

void scan_figures(const options& how)
{
    const size_t folder_count = how.candidates / files_each;
    const std::string name = "scan of " + std::to_string(folder_count * files_each) + " candidates";
    if (!wanted(how, name))
        return;
    small_host host;
    host.add<player::native_filesystem>();
    const temp_folder top;
    const std::vector<std::string> folders = candidates(top, folder_count);
    abort_callback_impl abort;
    double scanned = 0, read = 0;
    // One measurement of both, since they take turns by the folder.
    const auto both = [&] {
        scanned = read = 0;
        for (const std::string& folder : folders) {
            read += time_of([&] {
                for (size_t k = 0; k < files_each; ++k)
                    read_first_block(folder + "\\m" + std::to_string(k) + ".dll");
            });
            size_t found = 0;
            scanned += time_of([&] { found = scanFolders({{folder, vstFolder_t::user}}, abort).size(); });
            if (found != 1)
                fail("the scan does not find what is there");
        }
        return scanned * 1e3;
    };
    print(compare_measured(how, name, "ms", 2, both, [&] { return read * 1e3; }));
}

} // namespace bench
