#include "twin/console/completion.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <set>
#include <sstream>
#include <string_view>

#include "twin/boundary/bus.h"
#include "twin/console/commands.h"
#include "twin/console/key_words.h"
#include "twin/console/words.h"
#include "twin/world/faults.h"

namespace twin {

namespace {

using Candidates = std::set<std::string>;

void addAll(Candidates& candidates, const std::vector<std::string>& words) {
    candidates.insert(words.begin(), words.end());
}

void addKeys(Candidates& candidates) {
    for (const auto& [key, value] : busKeysBelow("")) {
        candidates.insert(key);
    }
    addAll(candidates, keysWithWords());
}

// What stands in a usage for something else.
constexpr std::array<std::string_view, 10> kPlaceholders = {
    "AXIS", "COUNTS", "FACTOR", "FUNCTION", "HEX", "N", "NUMBER", "PERCENT", "SECONDS", "VALUE"};

bool isLiteral(std::string_view word) {
    return !word.empty() && word.front() != '[' &&
           std::find(kPlaceholders.begin(), kPlaceholders.end(), word) == kPlaceholders.end();
}

std::vector<std::string> alternativesOf(const std::string& argument) {
    std::vector<std::string> result;
    std::istringstream stream(argument);
    for (std::string word; std::getline(stream, word, '|');) {
        if (word == "AXIS") {
            result.insert(result.end(), {"pan", "tilt", "rotate", "zoom", "focus", "iris"});
        } else {
            result.push_back(word);
        }
    }
    return result;
}

void addLiterals(Candidates& candidates, const std::string& argument) {
    const std::vector<std::string> words = alternativesOf(argument);
    std::copy_if(words.begin(), words.end(), std::inserter(candidates, candidates.end()),
                 isLiteral);
}

// Whether `word` may stand where a usage has `argument`.
bool fits(const std::string& word, const std::string& argument) {
    const std::vector<std::string> words = alternativesOf(argument);
    return std::any_of(words.begin(), words.end(), [&](const std::string& alternative) {
        return alternative == word || !isLiteral(alternative);
    });
}

// The words that follow `before` in the usages of faults, one usage a line: "USAGE: effect".
void addFaults(Candidates& candidates, const std::vector<std::string>& before) {
    bool good = true;
    for (const std::string& line : faultCommand({}, good)) {
        const std::vector<std::string> usage = [&] {
            const Words split = splitLine(line.substr(0, line.find_first_of(":(")));
            std::vector<std::string> words = split.words;
            words.insert(words.begin(), split.name);
            return words;
        }();
        const bool follows = line.find(':') != std::string::npos && usage.size() > before.size() &&
                             std::equal(before.begin(), before.end(), usage.begin(), fits);
        if (follows) {
            addLiterals(candidates, usage[before.size()]);
        }
    }
}

// What may stand as the n-th word of the command, where `words` stand before it.
void addWords(Candidates& candidates, const std::string& command,
              const std::vector<std::string>& words) {
    const std::string usage = usageOf(command);
    const std::vector<std::string> arguments = splitLine(usage).words;
    if (command == "fault") {
        addFaults(candidates, words);
    } else if (words.size() < arguments.size()) {
        const std::string& argument = arguments[words.size()];
        if (argument == "KEY" || argument == "[PREFIX]") {
            addKeys(candidates);
        } else if (argument == "VALUE") {
            addAll(candidates, wordsOf(words[0]));
        } else if (argument == "[COMMAND]") {
            addAll(candidates, commandNames());
        } else {
            addLiterals(candidates, argument);
        }
    }
}

}  // namespace

std::vector<std::string> completions(const std::string& line) {
    Words typed = splitLine(line);
    const bool begun = !line.empty() && line.back() != ' ' && line.back() != '\t';
    Candidates candidates;
    std::string last;
    if (typed.name.empty() || (typed.words.empty() && begun)) {
        last = typed.name;
        addAll(candidates, commandNames());
    } else {
        if (begun) {
            last = typed.words.back();
            typed.words.pop_back();
        }
        addWords(candidates, typed.name, typed.words);
    }
    std::vector<std::string> result;
    std::copy_if(candidates.begin(), candidates.end(), std::back_inserter(result),
                 [&](const std::string& word) { return word.starts_with(last); });
    return result;
}

}  // namespace twin
