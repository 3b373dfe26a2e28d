// What the head tells about itself.
#pragma once

#include <string>

namespace bridge {

// One JSON object: program, version, kind (camera or twin), a mark of this very run, the families
// that are forwarded.
std::string infoText(const char* program, const char* version, const char* kind,
                     const std::string& run);

}  // namespace bridge
