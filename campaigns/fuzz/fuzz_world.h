// The simulated camera without the daemon, for what is fuzzed a call at a time: its files in a
// directory of its own, its bus, its head, and the virtual clock. What is printed is dropped.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// An empty directory that goes with the process.
std::string privateDirectory();

// Powers the camera up. Once per process.
void openFuzzWorld();

// The input as a text that the bus would carry: without NUL, at most 127 bytes.
std::string busText(const std::uint8_t* data, std::size_t size);

// Replaces the file `path` of the camera.
void writeCameraFile(const char* path, const std::uint8_t* data, std::size_t size);
