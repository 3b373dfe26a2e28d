// Each line is a command word for all six axes, one after the other.
#include <sstream>

#include "axis/axes.h"
#include "fuzz_world.h"
#include "motion/command_words.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    openFuzzWorld();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    for (const AxisRow& axis : kAxes) {
        *axis.continuous = 0;
    }
    for (Shared<WaitingOrder>& order : gaWaitingOrder) {
        order = kNoOrder;
    }
    std::istringstream lines(std::string(data, data + size));
    for (std::string line; std::getline(lines, line);) {
        const std::string word =
            busText(reinterpret_cast<const std::uint8_t*>(line.data()), line.size());
        for (void (*const command)(const char*) :
             {focusCommand, zoomCommand, rotateCommand, panCommand, tiltCommand, irisCommand}) {
            command(word.c_str());
        }
    }
    return 0;
}
