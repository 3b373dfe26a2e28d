// Where the programs of this build, its recordings and the checkout are. Only one file is compiled
// with these paths, so that the same text compiles to the same object in every checkout.
#pragma once

#include <string>

// Programs of ours. For another architecture each is a script that starts the emulator.
extern const char* const kTwinProgram;
extern const char* const kServiceProgram;
extern const char* const kPatrolProgram;

// The folder for the recordings of what failed.
extern const char* const kRecordings;

// The path of a file of the checkout, as README.md, and its text. A test fails at an unreadable
// one.
std::string sourcePath(const std::string& file);
std::string readSource(const std::string& file);
