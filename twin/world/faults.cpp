#include "twin/world/faults.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <span>
#include <string_view>

#include "twin/clock/timeline.h"
#include "twin/trace/trace.h"
#include "twin/world/fault_table.h"
#include "twin/world/firmware.h"
#include "twin/world/text_number.h"

namespace twin {
namespace {

// Words that change the world at once and leave no fault behind.
constexpr struct {
    const char* usage;
    const char* effect;
} kActions[] = {
    {"mcu main|sensor version HEX (0 to ffffffff)", "the running firmware's version"},
    {"scene normal", "ends every fault of the scene"},
    {"clear [NAME [SUBJECT]]",
     "ends all faults, those of NAME, or those of one subject; also NAME [SUBJECT] clear"},
};

using Words = std::vector<std::string>;

// The words that are not empty, with a blank between each two.
std::string phrase(std::initializer_list<std::string_view> words) {
    std::string text;
    for (const std::string_view word : words) {
        if (!word.empty()) {
            text.append(text.empty() ? "" : " ").append(word);
        }
    }
    return text;
}

std::string usageOf(const FaultRow& row) {
    return phrase({row.name, row.subjectWord, row.setting, row.value.word});
}

// The last word that injects `value`, empty where there is none.
std::string valueText(Value kind, int value) {
    char text[32] = "";
    switch (kind) {
        case Value::none:
            break;
        case Value::hex:
            std::snprintf(text, sizeof text, "%02x", static_cast<unsigned>(value) & 0xFFU);
            break;
        case Value::percent:
            std::snprintf(text, sizeof text, "%d.%03d", value / 1000, value % 1000);
            break;
        case Value::factor:
            std::snprintf(text, sizeof text, "%.7g", value / 1000.0);
            break;
        case Value::set:
            return std::to_string(value) + " " + outsideSet();
        case Value::calls:
            return value < 0 ? "always" : std::to_string(value);
        case Value::count:
        case Value::offset:
            return std::to_string(value);
    }
    return text;
}

bool readDecimal(const std::string& text, double& number) {
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc{} && stop == end;
}

// Reads the value that `row` takes. False for one out of range.
bool readValue(const ValueRow& row, const std::string& text, int& value) {
    if (row.value == Value::calls && text == "always") {
        value = -1;
        return true;
    }
    if (row.value == Value::percent || row.value == Value::factor) {
        double number = 0.0;
        if (!readDecimal(text, number) || !(number > 0.0 && number <= 1000.0)) {
            return false;
        }
        value = static_cast<int>(std::lround(number * 1000.0));
    } else if (!readNumber(text, row.value == Value::hex ? 16 : 10, value)) {
        return false;
    }
    if (value < row.low || value > row.high) {
        return false;
    }
    value += row.value == Value::hex ? 0x100 : 0;
    return true;
}

// The usages of the faults called `name`, or all names, for an error answer.
std::string accepted(const std::string& name) {
    std::string text;
    const char* last = "";
    for (const FaultRow& row : faultTable()) {
        const bool repeated = std::strcmp(last, row.name) == 0;
        last = row.name;
        if (name == row.name) {
            text.append(text.empty() ? "" : "; ").append(usageOf(row));
        } else if (name.empty() && !repeated) {
            text.append(row.name).append(", ");
        }
    }
    for (const auto& action : kActions) {
        if (!name.empty() && std::string(action.usage).starts_with(name + " ")) {
            text.append(text.empty() ? "" : "; ").append(action.usage);
        }
    }
    return name.empty() ? text + "clear" : text;
}

std::string refusal(const std::string& what, const std::string& name) {
    return what + ", accepted: " + accepted(name);
}

bool takesAll(const FaultRow& row) {
    return std::string_view(row.subjectWord).ends_with("|all");
}

// The numbers of the subjects that `word` names; none for an unknown one.
std::vector<int> subjectsNamed(const FaultRow& row, const std::string& word) {
    std::vector<int> found;
    for (std::size_t i = 0; i < row.subjects.size(); ++i) {
        if (word == row.subjects[i] || (word == "all" && takesAll(row))) {
            found.push_back(static_cast<int>(i));
        }
    }
    return found;
}

std::string joined(std::span<const char* const> words) {
    std::string text;
    for (const char* word : words) {
        text.append(text.empty() ? "" : ", ").append(word);
    }
    return text;
}

// The first row called `name`, or null.
const FaultRow* rowNamed(const std::string& name) {
    for (const FaultRow& row : faultTable()) {
        if (name == row.name) {
            return &row;
        }
    }
    return nullptr;
}

std::string unknownSubject(const FaultRow& row, const std::string& word) {
    return std::string(row.name) + ": no subject '" + word +
           "', accepted: " + joined(row.subjects) + (takesAll(row) ? ", all" : "");
}

std::string clear(const std::string& name, const std::string& subject) {
    const FaultRow* first = name.empty() ? nullptr : rowNamed(name);
    if (!name.empty() && first == nullptr) {
        return refusal("no fault '" + name + "'", "");
    }
    if (first != nullptr && !subject.empty() && subjectsNamed(*first, subject).empty()) {
        return unknownSubject(*first, subject);
    }
    for (const FaultRow& row : faultTable()) {
        if (!name.empty() && name != row.name) {
            continue;
        }
        for (std::size_t i = 0; i < row.subjects.size(); ++i) {
            if (subject.empty() || subject == "all" || subject == row.subjects[i]) {
                setFaultValue(row.fault, static_cast<int>(i), 0);
            }
        }
    }
    return "";
}

// How many words a fault has after its setting, at least.
std::size_t wordsWanted(Value value) {
    return value == Value::none ? 0 : value == Value::set ? 3 : 1;
}

// Reads what follows the setting and injects the fault. An error text, empty on success.
std::string injectRow(const FaultRow& row, const std::vector<int>& subjects,
                      std::span<const std::string> words) {
    const std::size_t wanted = wordsWanted(row.value.value);
    const bool takesMore = row.value.value == Value::set;
    int value = 1;
    if (words.size() < wanted || (words.size() > wanted && !takesMore) ||
        (wanted > 0 && !readValue(row.value, words[0], value))) {
        return refusal(std::string(row.name) + ": value missing or out of range", row.name);
    }
    if (takesMore) {
        std::string text;
        for (const std::string& word : words.subspan(1)) {
            text.append(text.empty() ? "" : " ").append(word);
        }
        setOutsideSet(text);
    }
    for (const int subject : subjects) {
        setFaultValue(row.fault, subject, value);
    }
    return "";
}

// Chooses the row by name and setting.
std::string inject(const Words& words) {
    const std::string& name = words[0];
    const FaultRow* first = rowNamed(name);
    if (first == nullptr) {
        return refusal("no fault '" + name + "'", "");
    }
    std::span<const std::string> rest(words.begin() + 1, words.end());
    std::vector<int> subjects = {0};
    if (*first->subjectWord != '\0' && !rest.empty()) {
        subjects = subjectsNamed(*first, rest[0]);
        if (subjects.empty()) {
            return unknownSubject(*first, rest[0]);
        }
        rest = rest.subspan(1);
    } else if (*first->subjectWord != '\0') {
        return refusal(name + ": words missing", name);
    }
    for (const FaultRow& row : faultTable()) {
        const bool set = *row.setting != '\0';
        if (name == row.name && (!set || (!rest.empty() && rest[0] == row.setting))) {
            return injectRow(row, subjects, set ? rest.subspan(1) : rest);
        }
    }
    return refusal(name + ": no such words", name);
}

// "mcu MCU version HEX". False for anything else.
bool changeVersion(const Words& words) {
    std::uint32_t version = 0;
    if (words.size() != 4 || words[0] != "mcu" || words[2] != "version" ||
        !readNumber(words[3], 16, version)) {
        return false;
    }
    const std::vector<int> mcus = subjectsNamed(*rowNamed("mcu"), words[1]);
    for (const int mcu : mcus) {
        setMcuVersion(static_cast<Mcu>(mcu), version);
    }
    return !mcus.empty();
}

// Injects or ends a fault. An error text, empty on success.
std::string execute(const Words& words) {
    if (words[0] == "clear") {
        return words.size() > 3
                   ? refusal("clear: too many words", "clear")
                   : clear(words.size() > 1 ? words[1] : "", words.size() > 2 ? words[2] : "");
    }
    if (words.size() <= 3 && words.back() == "clear") {
        return clear(words[0], words.size() == 3 ? words[1] : "");
    }
    if (words == Words{"scene", "normal"}) {
        return clear("scene", "");
    }
    return changeVersion(words) ? "" : inject(words);
}

std::vector<std::string> listing() {
    std::vector<std::string> lines;
    const auto add = [&](const std::string& usage, const char* effect) {
        lines.push_back(usage + ": " + effect);
    };
    for (const FaultRow& row : faultTable()) {
        add(usageOf(row), row.effect);
    }
    for (const auto& action : kActions) {
        add(action.usage, action.effect);
    }
    const std::vector<std::string> active = activeFaults();
    for (const std::string& fault : active) {
        lines.push_back("active: " + fault);
    }
    if (active.empty()) {
        lines.emplace_back("none active");
    }
    return lines;
}

Words split(const std::string& text) {
    Words words;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find(' ', start), text.size());
        if (end > start) {
            words.push_back(text.substr(start, end - start));
        }
        start = end + 1;
    }
    return words;
}

// The words, each with a blank before it.
std::string phraseOf(const Words& words) {
    std::string text;
    for (const std::string& word : words) {
        text.append(" ").append(word);
    }
    return text;
}

}  // namespace

std::vector<std::string> activeFaults() {
    std::vector<std::string> active;
    for (const FaultRow& row : faultTable()) {
        for (std::size_t i = 0; i < row.subjects.size(); ++i) {
            const int value = faultValue(row.fault, static_cast<int>(i));
            if (value != 0) {
                active.push_back(phrase(
                    {row.name, row.subjects[i], row.setting, valueText(row.value.value, value)}));
            }
        }
    }
    return active;
}

std::string injectFault(const std::string& words) {
    const Words parts = split(words);
    if (parts.empty()) {
        return "a fault without a name";
    }
    std::string error = execute(parts);
    faultsChanged();
    return error;
}

std::vector<std::string> faultCommand(const std::vector<std::string>& words, bool& ok) {
    const WorldLock lock;
    ok = true;
    if (words.empty()) {
        return listing();
    }
    const std::string error = execute(words);
    ok = error.empty();
    if (ok) {
        trace("act", "fault%s", phraseOf(words).c_str());
    }
    faultsChanged();
    return {ok ? "ok" : error};
}

}  // namespace twin
