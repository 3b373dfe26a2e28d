#include "platform/files.h"

std::string devicePath(const char* path) {
    return path;
}
