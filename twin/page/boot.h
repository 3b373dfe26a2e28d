// What one boot of the camera begins with, where the page boots it.
#pragma once

#include <functional>
#include <string>

#include "twin/camera/session.h"
#include "twin/console/console.h"

namespace twin {

struct Boot {
    SessionOptions session;
    int (*daemon)() = nullptr;
    ConsoleOptions console;
    // What else goes with the run: begun after power-up, ended where the run ends by itself.
    std::function<void()> startServices;
    std::function<void()> stopServices;
    std::string input;   // read from standard input and not carried out yet,
    int inputLines = 0;  // and how many lines came before
};

}  // namespace twin
