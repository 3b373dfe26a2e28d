// A recording: a trace with its first lines, read back.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "twin/camera/session.h"
#include "twin/camera/texts.h"
#include "twin/clock/timeline.h"

namespace twin {

struct RecordedEvent {
    Microseconds time = 0;
    std::string kind;
    std::string text;  // as it was before it was printed
};

// One boot of a camera: a file holds several where the power was cut and came back.
struct RecordedRun {
    std::string program;  // what recorded it: "kestrel-twin" or "kestrel-mqtt"
    std::string version;
    Texts options;
    Texts head;
    Texts bus;
    Texts files;
    std::vector<RecordedEvent> events;
    Microseconds end = 0;
    bool ended = false;  // its last line is there
};

struct Recording {
    std::vector<RecordedRun> runs;
    std::string foreign;  // why it is no recording at all; empty if it is one
    std::string damage;   // the first damage, with its line; empty if there is none
    int damagedLines = 0;
};

// Reads the file. What is damaged is left out, and counted.
Recording readRecording(const std::string& path);

// The same of the text of a recording.
Recording parseRecording(const std::string& text);

// The session options that a run was made with; the virtual clock, and output as it was.
// `problem` gets an error text if they make no sense.
SessionOptions sessionOf(const RecordedRun& run, std::string& problem);

// The numbers of the events that came from outside, in their order: `cmd` and `act`, but for what
// the run's own faults set.
std::vector<std::size_t> actsOf(const RecordedRun& run);

// Whether the run was made with the virtual clock, so that it comes out the same to the byte.
bool madeInVirtualTime(const RecordedRun& run);

}  // namespace twin
