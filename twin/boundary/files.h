// The camera's files on this machine, and the faults of its flash memory.
#pragma once

#include <string>
#include <string_view>

namespace twin {

// Lays the camera's file tree below the directory `root`, making the directories that every camera
// has. Returns an error text, empty on success. Before the daemon starts.
std::string openFiles(const std::string& root);

// Writes the firmware image and expected-version files that a camera is shipped with.
std::string writeShippedFiles();

// Whether a camera is shipped with this file.
bool isShipped(std::string_view path, std::string_view content);

// Makes the faults "files-unwritable" and "disk-full" hold as they are switched at present.
//
// files-unwritable: what exists can be read; nothing can be written, created, emptied or removed.
// disk-full: files can be created, emptied, removed and read; no byte can be written.
void applyFileFaults();

// Takes what this process has open below the root for its own, such as a script that lies there.
// Before the daemon starts.
void watchFiles();

// Reports a violation for each of the camera's files that the daemon has open, by its path there.
// For an instant at which no actor is in the midst of using one; the table of a calibration sweep
// may be open, once. A file that was opened while nothing could be written is not seen.
void checkFilesClosed();

}  // namespace twin
