// The fault "power-cut N": the power fails in the midst of what the daemon does.
#pragma once

namespace twin {

// What ends the run when the fault's turn has come. Once, before the daemon starts.
void onPowerCut(void (*end)());

// To be called before each change of the camera's state that the daemon makes: a file operation
// ("file"), an order to a library ("mcu") or a bus set ("bus"); `name` is the file's path, the
// function or the key. Where the fault's turn has come, it names the change in an answer and ends
// the run before the change takes effect. Any actor; world lock not held.
void beforeChange(const char* kind, const char* name);

}  // namespace twin
