#pragma once
// Where effects are looked for, and finding them. A scan reads folders and module headers through the
// player's file system and never loads a module.

#include "catalogue/vstConfig.h"
#include "catalogue/vstFolder.h"
#include "sdk/abort_callback.h"
#include "sdk/filesystem.h"

#include <string>
#include <vector>

// The system's default folders, as the environment of this process gives them (see composeDefaultFolders).
std::vector<vstFolder_t> getDefaultFolders();

// What a scan goes through: the user's folders in stored order, then the default folders that the user has
// not switched off. Main thread. Throws exception_host_bug_check as the settings do.
std::vector<vstFolder_t> getScanFolders();

// Told of a scan's progress, on the scanning thread. Functions that take one take null for none.
class scan_observer {
public:
    virtual void on_folder(const std::string& path) = 0;    // is about to be listed
    virtual void on_candidate(const std::string& path) = 0; // is about to be inspected

protected:
    ~scan_observer() = default;
};

// One record for each plug-in module below the folders, in the order of folders and listings; a module that
// is reached twice is there twice. Any thread, typically a background one. An abort ends the scan with what
// was found so far. A folder that does not exist is passed over; one that fails puts two lines on the
// console, what was found in it stays, and the scan goes on with the next.
std::vector<vstConfig_t> scanFolders(const std::vector<vstFolder_t>& folders, abort_callback& abort,
                                     scan_observer* observer = nullptr);
// The same, appended to `result`: what was found is there even when this throws (std::bad_alloc).
void scanFolders(std::vector<vstConfig_t>& result, const std::vector<vstFolder_t>& folders,
                 abort_callback& abort, scan_observer* observer = nullptr);

// The same for one folder and all below it, files before subfolders. Appends to `result`. Throws
// exception_aborted on abort, and whatever listing the folder or one below it throws; then `result` holds
// what was found before. A link that leads back to a folder above itself is not followed.
void scanFolder(std::vector<vstConfig_t>& result, filesystem& files, const std::string& folder,
                abort_callback& abort, scan_observer* observer = nullptr);

// The name an effect gets from its module's path: the file name without its extension.
std::string effectName(const std::string& path);
// The VST version that a file of this name is expected to be: 3 for *.vst3, 2 for *.dll, 0 for no candidate.
int32_t expectedVersion(const std::string& fileName);
