// Demo actions: a letter, and mostly a number, that moves one axis and waits for it. Main thread.
#pragma once

// Executes the action word, which may take as long as its move; drops it while homing or autofocus
// is requested. An action that ran a move prints the time since the move started.
void runDemoAction(const char* word);
