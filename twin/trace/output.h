// What the program prints: the console's answers, the trace, and the daemon's own lines, all in the
// order in which they happened. Every function may be called from any thread.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace twin {

struct OutputOptions {
    bool trace = false;
    bool quiet = false;       // leaves out what the daemon itself prints
    bool lineByLine = false;  // every line leaves the process at once
};

// Takes over standard output: from here on what the daemon prints is captured line by line. Once,
// before the first actor. Without it nothing is captured and answers go nowhere.
void openOutput(const OutputOptions& options);

// One line that begins with "= ".
void answer(const std::string& text);

// Text as it is, for prompts and greetings; leaves the process at once.
void say(const std::string& text);

// One line beside the trace, where that is printed: "# kestrel-twin TEXT".
void remark(const std::string& text);

// One line about the twin itself on standard error.
void complain(const std::string& text);

// Text that the daemon wrote past its standard output's stream, as its signal handler does.
void takeDaemonText(const char* text, std::size_t length);

// Hands everything printed so far to the operating system.
void flushOutput();

// The last flush: also prints an unfinished line of the daemon. `patient` waits for a thread that
// is printing; otherwise the rest is given up.
void closeOutput(bool patient);

// For how long printing has waited in all, up to now, for whoever reads the output. Any thread.
std::chrono::nanoseconds outputHeldUp();

// 0, or why output was lost that could not be written (an errno): a line on standard error has said
// so, but of a reader that has gone (EPIPE).
int outputError();

// While a line is edited at the terminal: what is printed is kept, and `arrivals`, an eventfd,
// becomes readable when something has come. The console's thread only, as are the next two.
void holdOutput(int arrivals);

// What has been kept since the last call.
std::string takeHeldOutput();

// Writes what has been kept; from here on everything is written at once again.
void releaseOutput();

// Has `restore` called when the output is closed, whichever way the run ends. Any thread may be the
// caller then.
void onOutputClosed(void (*restore)());

// Whether something was reported that must never happen.
bool violationSeen();

}  // namespace twin
