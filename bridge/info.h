// What the head tells about itself.
#pragma once

#include <string>

namespace bridge {

// One JSON object: program, version, kind (camera or twin), the families that are forwarded.
std::string infoText(const char* program, const char* version, const char* kind);

}  // namespace bridge
