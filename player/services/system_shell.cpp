#include "player/services/system_shell.h"

#include "win/utf.h"

#include <windows.h>

#include <commdlg.h>
#include <shellapi.h>
#include <shlobj.h>
#include <shobjidl.h>

#include <memory>
#include <vector>

namespace player {

namespace {

constexpr size_t longest_path = 32768;

std::wstring wide(const char* text)
{
    return text ? win::to_utf16(text) : std::wstring();
}

// The calling thread may use COM, whatever it did about it before.
class com_scope {
public:
    com_scope() noexcept
        : result_(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE))
    {
    }
    ~com_scope()
    {
        if (SUCCEEDED(result_))
            CoUninitialize();
    }
    com_scope(const com_scope&) = delete;
    com_scope& operator=(const com_scope&) = delete;

private:
    HRESULT result_;
};

struct com_release {
    void operator()(IUnknown* object) const noexcept { object->Release(); }
};
template <class T>
using com_ptr = std::unique_ptr<T, com_release>;

struct task_memory_free {
    void operator()(void* memory) const noexcept { CoTaskMemFree(memory); }
};

com_ptr<IFileOpenDialog> make_picker(FILEOPENDIALOGOPTIONS more) noexcept
{
    IFileOpenDialog* made = nullptr;
    if (FAILED(CoCreateInstance(CLSID_FileOpenDialog, nullptr, CLSCTX_INPROC_SERVER, IID_IFileOpenDialog,
                                reinterpret_cast<void**>(&made))))
        return nullptr;
    com_ptr<IFileOpenDialog> picker(made);
    FILEOPENDIALOGOPTIONS options = 0;
    picker->GetOptions(&options);
    if (FAILED(picker->SetOptions(options | FOS_PICKFOLDERS | FOS_FORCEFILESYSTEM | more)))
        return nullptr;
    return picker;
}

// Empty for what has no place in the file system.
std::string path_of(IShellItem& item)
{
    PWSTR path = nullptr;
    if (FAILED(item.GetDisplayName(SIGDN_FILESYSPATH, &path)))
        return {};
    const std::unique_ptr<wchar_t, task_memory_free> owned(path);
    return win::to_utf8(path);
}

// The paths that the user chose; none when the user gave up.
std::vector<std::string> run_picker(IFileOpenDialog& picker, HWND parent, const char* title)
{
    picker.SetTitle(wide(title).c_str());
    if (FAILED(picker.Show(parent)))
        return {};
    IShellItemArray* chosen = nullptr;
    if (FAILED(picker.GetResults(&chosen)))
        return {};
    const com_ptr<IShellItemArray> items(chosen);
    DWORD count = 0;
    items->GetCount(&count);
    std::vector<std::string> paths;
    for (DWORD i = 0; i < count; ++i) {
        IShellItem* item = nullptr;
        if (FAILED(items->GetItemAt(i, &item)))
            continue;
        const com_ptr<IShellItem> owned(item);
        if (std::string path = path_of(*item); !path.empty())
            paths.push_back(std::move(path));
    }
    return paths;
}

// The picker of older systems.
std::string run_tree_picker(HWND parent, const char* title)
{
    const std::wstring caption = wide(title);
    BROWSEINFOW info{};
    info.hwndOwner = parent;
    info.lpszTitle = caption.c_str();
    info.ulFlags = BIF_RETURNONLYFSDIRS | BIF_NEWDIALOGSTYLE;
    const std::unique_ptr<void, task_memory_free> chosen(SHBrowseForFolderW(&info));
    std::vector<wchar_t> path(longest_path);
    if (!chosen || !SHGetPathFromIDListEx(static_cast<PCIDLIST_ABSOLUTE>(chosen.get()), path.data(),
                                          static_cast<DWORD>(path.size()), GPFIDL_DEFAULT))
        return {};
    return win::to_utf8(path.data());
}

} // namespace

std::wstring picker_filter(const char* filter)
{
    std::wstring form;
    std::vector<std::wstring> pieces(1);
    for (const wchar_t c : wide(filter)) {
        if (c == L'|')
            pieces.emplace_back();
        else
            pieces.back() += c;
    }
    for (size_t i = 0; i + 1 < pieces.size(); i += 2)
        form += pieces[i] + L'\0' + pieces[i + 1] + L'\0';
    return form + L'\0';
}

void system_shell::show_popup(void* owner, const char* text, const char* title, popup_kind kind)
{
    const UINT icon = kind == popup_kind::failure ? MB_ICONERROR : MB_ICONINFORMATION;
    MessageBoxW(static_cast<HWND>(owner), wide(text).c_str(), wide(title).c_str(), MB_OK | icon);
}

bool system_shell::get_open_file_name(void* owner, const char* filter, const char* default_extension,
                                      const char* title, const char* folder, bool save, string_out& path)
{
    const com_scope com;
    const std::wstring filters = picker_filter(filter), extension = wide(default_extension),
                       caption = wide(title), start = wide(folder);
    std::vector<wchar_t> chosen(longest_path);
    OPENFILENAMEW request{};
    request.lStructSize = sizeof(request);
    request.hwndOwner = static_cast<HWND>(owner);
    request.lpstrFilter = filters.c_str();
    request.lpstrFile = chosen.data();
    request.nMaxFile = static_cast<DWORD>(chosen.size());
    request.lpstrInitialDir = start.empty() ? nullptr : start.c_str();
    request.lpstrTitle = caption.empty() ? nullptr : caption.c_str();
    request.lpstrDefExt = extension.empty() ? nullptr : extension.c_str();
    request.Flags = OFN_EXPLORER | OFN_NOCHANGEDIR | OFN_HIDEREADONLY | OFN_PATHMUSTEXIST |
                    (save ? OFN_OVERWRITEPROMPT : OFN_FILEMUSTEXIST);
    if (!(save ? GetSaveFileNameW(&request) : GetOpenFileNameW(&request)))
        return false;
    set_text(path, win::to_utf8(chosen.data()));
    return true;
}

bool system_shell::browse_for_folder(void* owner, const char* title, string_out& path)
{
    const com_scope com;
    const auto window = static_cast<HWND>(owner);
    std::string chosen;
    if (const auto picker = make_picker(0)) {
        const auto paths = run_picker(*picker, window, title);
        chosen = paths.empty() ? std::string() : paths.front();
    } else {
        chosen = run_tree_picker(window, title);
    }
    if (chosen.empty())
        return false;
    set_text(path, chosen);
    return true;
}

bool system_shell::execute(void* owner, const char* verb, const char* file, const char* parameters)
{
    const com_scope com;
    const std::wstring action = wide(verb), given = wide(parameters);
    const HINSTANCE result =
        ShellExecuteW(static_cast<HWND>(owner), verb ? action.c_str() : nullptr, wide(file).c_str(),
                      parameters ? given.c_str() : nullptr, nullptr, SW_SHOWNORMAL);
    return reinterpret_cast<INT_PTR>(result) > 32; // below are error codes
}

bool system_folder_picker::choose_folders(void* owner, const char* title, path_receiver& receiver)
{
    const com_scope com;
    std::vector<std::string> paths;
    if (const auto picker = make_picker(FOS_ALLOWMULTISELECT))
        paths = run_picker(*picker, static_cast<HWND>(owner), title);
    else if (std::string one = run_tree_picker(static_cast<HWND>(owner), title); !one.empty())
        paths.push_back(std::move(one));
    for (const std::string& path : paths)
        receiver.on_path(path.c_str());
    return !paths.empty();
}

} // namespace player
