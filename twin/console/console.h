// The console: commands from standard input.
#pragma once

namespace twin {

// Executes commands until the end of input or `quit`. Returns the run's exit status: 0, or 1 if a
// command was wrong or an expectation failed. `interactive` prints a greeting and prompts.
int runConsole(bool interactive);

}  // namespace twin
