// What the faults in force mean to the devices: one number a fault and subject, 0 for none.
#pragma once

#include <string>
#include <vector>

namespace twin {

enum class Fault {
    call,             // calls still to fail; -1 for good
    axisStuck,        // 1
    axisSlip,         // steps still to be lost
    axisNeverReady,   // 1
    axisSlow,         // factor in thousandths
    sensorAbsent,     // 1
    sensorFrozen,     // 1
    sensorNoise,      // amplitude in counts
    sensorIdentity,   // the wrong identity + 256
    statisticsFail,   // 1
    sceneFlat,        // 1
    sceneDark,        // 1
    sceneOffset,      // steps
    sceneNoise,       // amplitude in thousandths of a percent
    areaFlat,         // 1
    mcuLoaderFails,   // 1
    mcuSilent,        // calls still to stay unanswered; -1 for good
    mcuSilentAfter,   // the same, from the next successful write on
    filesUnwritable,  // 1
    diskFull,         // 1
    busRefuse,        // 1
    busOverlong,      // 1
    powerCut,         // changes of the camera's state up to the one before which it hits
    setAt,            // calls up to the one in which the outside set comes
};
constexpr int kFaultCount = 24;

// The value in force. `subject` is the axis, microcontroller, area or function number, 0 where
// there is none. World lock held.
int faultValue(Fault fault, int subject = 0);
void setFaultValue(Fault fault, int subject, int value);

// "KEY VALUE" of the fault setAt. World lock held.
const std::string& outsideSet();
void setOutsideSet(const std::string& keyAndValue);

// Whether a counted fault hits this time; counts it. World lock held.
bool takeFault(Fault fault, int subject);

// The faults in force, each as the words that inject it.
std::vector<std::string> activeFaults();

// Injects one fault given as activeFaults() gives it. An error text, empty on success. World lock
// held.
std::string injectFault(const std::string& words);

// Ends every fault. World lock held.
void resetFaults();

}  // namespace twin
