// Commands and other work from other threads, for the console's thread to carry out.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace twin {

// Commands that belong together: nothing else is carried out between them. Both functions are
// called on the console's thread, and may outlive whoever asked.
struct Request {
    std::vector<std::string> lines;
    // Takes an answer, without the "= " that it begins with elsewhere.
    std::function<void(const std::string& text)> answer;
    // All are carried out; `good` unless one failed.
    std::function<void(bool good)> done;
};

// Hands commands to the console, which carries them out as soon as the one that runs at present,
// and what was posted earlier, is done. Returns at once. Any thread.
void postCommands(Request request);

// The same for work that is more than commands. It is done between two commands.
void postWork(std::function<void()> work);

// Readable while requests wait.
int requestDescriptor();

// Carries out what was posted. The console's thread only.
void executeRequests();

}  // namespace twin
