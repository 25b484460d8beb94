#pragma once
// A file of the user's or of a configure run's, opened by the player's file system that serves its path. Any
// thread; nothing cancels it.

#include "sdk/filesystem.h"

#include <string>

// Throws exception_io_not_found when no file system serves the path, and what that one throws.
service_ptr_t<file> openFile(const std::string& path, filesystem::open_mode mode);
