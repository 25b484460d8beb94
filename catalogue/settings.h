#pragma once
// The component's settings, all of them global and kept by the player's configuration store. Whoever needs a
// value reads it at that moment. Everything here throws exception_host_bug_check unless there is exactly one
// configuration store.

#include "catalogue/vstFolder.h"
#include "sdk/advconfig_impl.h"
#include "sdk/cfg_var.h"

// The branch of the player's advanced preferences that shows the switches, and the player's branch it hangs
// from. The factories that register them stand with all others in frame/.
constexpr const char* settings_branch_name = "VST 2.x/3.x Adapter";
constexpr guid_t settings_branch = {
    0x48943e10, 0x202d, 0x4140, {0xa9, 0x48, 0x23, 0x0c, 0x95, 0xb1, 0xbc, 0x88}};
constexpr guid_t settings_branch_parent = {
    0x35365484, 0xcc58, 0x4926, {0x97, 0xe1, 0x5e, 0x63, 0xf3, 0xab, 0xb9, 0xe2}};
constexpr double settings_priority = 0.0;

// Switches; get() from any thread. In the order they are registered.
constexpr advconfig_switch cfg_dpi_aware = {
    "DPI-aware configuration panel",
    {0x39951a96, 0xe318, 0x4ae1, {0xa0, 0x5a, 0xa6, 0xff, 0x2e, 0xd5, 0x77, 0x7d}},
    false};
constexpr advconfig_switch cfg_feed_live = {
    "Feed live processed audio to configuration panel",
    {0xe2f1d325, 0x3ac2, 0x4570, {0xbb, 0x04, 0x92, 0x2d, 0xb3, 0x0d, 0x92, 0x79}},
    true};
constexpr advconfig_switch cfg_process_tail = {
    "Process tail samples (output may be longer than input)",
    {0x17f04bf0, 0x5745, 0x462f, {0x92, 0x9c, 0xe7, 0xf2, 0x30, 0xf5, 0x1f, 0x5a}},
    false};

// Folder lists in the form of joinPaths, both empty at first: the folders that the user added, and the
// system's default folders that the user switched off.
extern cfg_var_modern::cfg_string cfg_vst_folders;
extern cfg_var_modern::cfg_string cfg_vst_folders_disabled;

// Reading: any thread. Writing: main thread; stored at once, then every open list of effects is scanned anew.
std::vector<vstFolder_t> getUserFolders(); // in stored order, of kind user
void setUserFolders(const std::vector<vstFolder_t>& folders);
// May hold empty pieces, which match no folder.
std::vector<std::string> getDisabledDefaultFolders();
// `disable` is true when the user unticked the folder, false when it was ticked: mind the name. Stores and
// scans only when that is a change. Paths differ when a byte differs.
void setDefaultFolderEnabled(const std::string& path, bool disable);

// What starts a fresh scan in every open list of effects, in the order they were opened. Set once, when the
// module loads; nothing happens before. Null takes it back.
void set_rescan_callback(void (*callback)());
