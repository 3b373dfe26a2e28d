// The console: commands from standard input, and those that other threads post, all carried out by
// the thread that runs it, one at a time.
#pragma once

#include <string>

namespace twin {

struct ConsoleOptions {
    bool interactive = false;  // prompts
    bool greet = true;         // and a greeting
    bool stopOnError = false;  // the first command that fails is the last
};

// Makes sure of standard input and output; the file `path`, unless the name is empty, takes the
// place of standard input. False, with a line on standard error, where that is not possible. Before
// anything else is opened.
bool openStreams(const std::string& path);

// The end of standard input does not end the run: other threads still post commands. Before
// runConsole.
void keepConsoleOpen();

// Executes commands until the end of input or `quit`. Returns the run's exit status: 0, or 1 if a
// command from standard input was wrong or an expectation failed.
int runConsole(const ConsoleOptions& options);

}  // namespace twin
