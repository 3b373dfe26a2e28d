// Where the camera's files lie.
#pragma once

#include <string>

// The path under which this process reaches the camera's file `path`. Every file of the daemon is
// opened, created and removed through it.
std::string devicePath(const char* path);
