// The directory in which a camera lies while it runs.
#pragma once

#include <string>

namespace twin {

// Makes the directory if needed and takes it for this run alone. An empty name stands for a private
// one, which lies on a memory file system where there is one; what killed runs of this user have
// left there is removed. Returns an error text, empty on success. Once.
std::string takePlace(const std::string& directory);

// In a copy of the process that has taken it: a private one is as any other there, kept from run to
// run. It stays the first process's, which keeps the lock and removes it.
void borrowPlace();

// Its path; empty before takePlace.
const std::string& placeOfCamera();

// Whether it is a private one.
bool placeIsPrivate();

// Removes a private directory.
void leavePlace();

}  // namespace twin
