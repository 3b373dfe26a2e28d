// The console's commands, wherever they come from.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace twin {

// Where a command's answers go.
struct Answers {
    // Takes an answer, without the "= " that it begins with elsewhere. Called on the console's
    // thread.
    std::function<void(const std::string& text)> take;
    // The number of the command's line in its script, which a failed answer names; 0 for none.
    int line = 0;
};

// What a failed answer ends with: " (line 3)", or nothing where the line has no number.
std::string placeOf(int line);

// Carries a command out; blank lines and remarks are none. False if it was wrong, or if what it
// expected did not come. With the virtual clock time moves only in here. The console's thread only.
bool execute(const std::string& line, const Answers& answers);

// The commands' names, and how the one of that name is written; empty if there is none.
std::vector<std::string> commandNames();
std::string usageOf(const std::string& name);

// Whether `quit` was carried out.
bool quitAsked();

}  // namespace twin
