// The first lines of a trace, `# kestrel-twin ...`: with which options and on which camera the run
// is made, so that it can be repeated from the trace alone.
#pragma once

#include "twin/camera/session.h"
#include "twin/camera/state.h"

namespace twin {

// What a recording's first line ends with: its format.
inline constexpr const char* kRecordingFormat = "recording 1";

// Writes them where a trace is printed: the version, and then entries "SECTION NAME VALUE" (as
// textLine has names and values). Sections: `option`; and of a camera that is no new one `head`
// (its mechanism's memory), `bus` (its lasting keys) and `file`. After openState and openOutput.
void writeHeading(const SessionOptions& options, const SavedState& state);

}  // namespace twin
