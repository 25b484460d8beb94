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
    // Fails the test unless the counts of now come down to these within five seconds: a detached thread's end
    // is not seen at once. Memory does not count. The threads' library makes a few handles late and keeps
    // them (an event for a lock at which two threads first met): `spare_handles` allows for them.
    void check_nothing_more(size_t spare_handles = 0) const;
};
