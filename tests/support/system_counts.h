#pragma once
// What processes hold of the system: for tests that nothing grows.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// Open in any process, a child for instance.
size_t handles_of(unsigned long process_id);
// The running processes that another one started, of programs whose file's name begins like this.
std::vector<unsigned long> children_of(unsigned long process_id, std::wstring_view name = {});

// Committed and touched, 0 for a process that has ended.
size_t private_bytes_of(void* process);

// Ends the processes that this one started, by force, and waits for it. How many there were.
size_t kill_children(unsigned exit_code);

// What this process holds of GDI and of windows, menus, hooks and the like. Two such counts may be compared,
// one does not say much: where the system does not count, these are how far fresh handles have climbed, and
// windows of other processes count as well.
struct gui_counts {
    size_t gdi, user;

    static gui_counts now();
};

// Of this process.
struct system_counts {
    size_t handles;       // open in this process
    size_t threads;       // of this process
    size_t children;      // running processes that this one started
    size_t temp_files;    // and folders, that lie in the temporary folder
    size_t private_bytes; // committed

    static system_counts now();
    // What is more than here once the counts have come down, or after the limit (a detached thread's end is
    // not seen at once): "2 handles 1 files", empty when nothing is. Memory does not count. The threads'
    // library makes a few handles late and keeps them (an event for a lock at which two threads first met):
    // `spare_handles` allows for them.
    std::string growth(size_t spare_handles = 0, double limit_seconds = 5) const;
    // Fails the test unless nothing is.
    void check_nothing_more(size_t spare_handles = 0) const;
};
