// The camera's process behind the page: its run as without a page, and besides the questions that
// come over the link, and what the page wants to know.
#pragma once

#include "twin/page/boot.h"

namespace twin {

// Powers the camera up and runs it to its end, which is the end of the process.
[[noreturn]] void runCamera(const Boot& boot, int link);

}  // namespace twin
