// What one boot of the camera begins with, where the page boots it.
#pragma once

#include <string>

#include "twin/camera/session.h"
#include "twin/console/console.h"

namespace twin {

struct Boot {
    SessionOptions session;
    int (*daemon)() = nullptr;
    ConsoleOptions console;
    std::string input;  // read from standard input and not carried out yet
};

}  // namespace twin
