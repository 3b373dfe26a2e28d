// The changes that the daemon makes to the camera, one by one: what is done beside each, and the
// fault "power-cut N", with which the power fails in their midst.
#pragma once

namespace twin {

// What ends the run when the fault's turn has come. Once, before the daemon starts.
void onPowerCut(void (*end)());

// What is called before each change takes effect, and when the world has changed otherwise. Once,
// before the daemon starts. Any actor; world lock not held.
void onChange(void (*note)());

// To be called before each change of the camera's state that the daemon makes: a file operation
// ("file"), an order to a library ("mcu") or a bus set ("bus"); `name` is the file's path, the
// function or the key. Where the fault's turn has come, it names the change in an answer and ends
// the run before the change takes effect. Any actor; world lock not held.
void beforeChange(const char* kind, const char* name);

// To be called when the faults or the mechanism have been changed from outside.
void noteChange();

// From here on a thread that is about to make a change stops for good. For a run's end with the
// real clock.
void stopChanges();

}  // namespace twin
