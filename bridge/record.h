// A recording of the camera's bus in files, beside the bridge: lines "SECONDS cmd|bus KEY VALUE" as
// the simulated head's trace has them, which replays them and compares a real head with the model.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bridge/bus.h"

namespace bridge {

struct RecordOptions {
    std::string file;
    // Bytes behind what the bus holds after which a new file is begun.
    std::uint64_t size = std::uint64_t{16} << 20;
    std::vector<std::string> families;
};

// Listens to the families and records what they hold and every later set, on a thread of its own:
// the bus never waits for the disk. What is there already, and what is full, becomes FILE.1 and so
// on; four of these are kept. `report` gets a line if recording is not possible, or fails later.
// Returns 0, or the exit status for that: 1 if the bus is of no use, 2 if FILE cannot be made.
// Once.
int startRecording(const RecordOptions& options, const Bus& bus, const char* version,
                   void (*report)(const std::string& line));

// The bus as the bridge should use it: its sets are recorded as others' sets, not the daemon's.
Bus recordedBus();

// Completes the file. At most once, after startRecording.
void stopRecording();

}  // namespace bridge
