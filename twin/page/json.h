// The JSON that the page's process makes. Texts are taken as UTF-8; bytes that are none are
// replaced.
#pragma once

#include <string>
#include <vector>

namespace twin {

// {"t":1.250000,"kind":"bus","text":"KEY VALUE"} of a line of the trace.
std::string traceJson(const std::string& line);

// {"KEY":"VALUE",...} of texts that are a key, a NUL and a value each.
std::string busJson(const std::vector<std::string>& entries);

// A head's JSON as it is without power: "on" is false, nothing moves and nothing shines. Of an
// empty text: {"on":false}.
std::string headSwitchedOff(const std::string& head);

}  // namespace twin
