#pragma once
// What processes hold of the system: for tests that nothing grows.

#include <cstddef>

// Open in any process, a child for instance.
size_t handles_of(unsigned long process_id);

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
    size_t private_bytes; // committed

    static system_counts now();
    // The counts once they have come down to `limit` (a detached thread's end is not seen at once), or as
    // they are after five seconds. Memory is not waited for.
    static system_counts settled(const system_counts& limit);
};
