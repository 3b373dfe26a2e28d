// The film of a recording: what its replay showed, kept so that the page can show any moment of it.
// One thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "twin/camera/session.h"
#include "twin/replay/replay.h"

namespace twin {

// Replays the recording, every boot, on the virtual clock, and keeps the trace and the head's
// states. `session` has the speed to begin with, and how a camera in the field hangs. False, after
// a line on standard error, if the file is of no use. Once.
bool makeFilm(const ReplayOptions& options, const SessionOptions& session, int (*daemon)());

bool filmIsShown();

// The JSON that tells what there is to see: {"file":"…","speed":1,"step":0.04,"boots":[{"end":12.5,
// "off":true,"fails":[3.1]},…]}, times in seconds from the boot on. Between two heads that differ
// lies a `step` at least; `off`: the power was cut, or the daemon ended itself.
std::string filmSummary();

// The events of a boot, "1" being the first, as GET /events tells them: `bus`, what all keys are to
// begin with, then `trace`, `head` and `faults`, a list of those in force, in their order. None if
// there is no such boot. The text stays.
std::optional<std::string_view> filmedBoot(const std::string& number);

}  // namespace twin
