#include "app/request_handlers.h"

#include <strings.h>

#include <cstdio>

#include "app/command_buffers.h"
#include "control_state.h"
#include "numbers.h"
#include "platform/nbus.h"
#include "words.h"

namespace {

constexpr std::int32_t kNoPreset = -1;

// Whole words, but for the two set-words, which are prefixes; those take another request if the
// word also asks for a lock.
struct PresetWord {
    const char* word;
    bool prefix;
    const char* notice;
    std::int32_t request;
    std::int32_t lockedRequest;
};

constexpr PresetWord kPresetWords[] = {
    {"1:set", true, "Set Preset1", 1, 3},        {"2:set", true, "Set Preset2", 2, 4},
    {"1:go", false, "Go Preset1", 1001, 1001},   {"2:go", false, "Go Preset2", 1002, 1002},
    {"1:del", false, "Del Preset1", 2001, 2001}, {"2:del", false, "Del Preset2", 2002, 2002},
};

bool matches(const PresetWord& row, const char* word) {
    return row.prefix ? startsWith(word, row.word) : isWord(word, row.word);
}

// Compared without regard to case; taken only while no autofocus is requested.
constexpr WordValue kFocusWords[] = {{"AF", 2}, {"AAF", 5}, {"CAF", 6}};
constexpr char kFocusTestWord[] = "test_af";
constexpr std::int32_t kFocusTestRequest = 3;

// Taken even while a request is pending.
constexpr WordValue kHomeWords[] = {
    {"home", 4},      {"home1", 1},    {"home2", 2},   {"home3", 3},   {"home4", 5},
    {"homefast", 11}, {"homepos", 12}, {"homeP1", 13}, {"homeP2", 14},
};

struct ForwardedWord {
    const char* word;
    const char* key;
};

constexpr ForwardedWord kForwardedWords[] = {
    {"full_out", "lens.camN.zoom"},       {"full_in", "lens.camN.zoom"},
    {"full_near", "lens.camN.focus"},     {"full_far", "lens.camN.focus"},
    {"full_forward", "lens.camN.rotate"}, {"full_backward", "lens.camN.rotate"},
};

// A letter and a number. There is no letter for a relative rotate move forward; meant so.
struct LetterRow {
    char letter;
    const char* key;
    char form;  // 'r' relative, 'a' absolute
    int sign;
};

constexpr LetterRow kLetters[] = {
    {'n', "lens.camN.focus", 'r', -1},  {'m', "lens.camN.focus", 'r', 1},
    {'o', "lens.camN.iris", 'r', -1},   {'c', "lens.camN.iris", 'r', 1},
    {'t', "lens.camN.zoom", 'r', 1},    {'w', "lens.camN.zoom", 'r', -1},
    {'b', "lens.camN.rotate", 'r', -1}, {'z', "lens.camN.zoom", 'a', 1},
    {'f', "lens.camN.focus", 'a', 1},   {'i', "lens.camN.iris", 'a', 1},
    {'r', "lens.camN.rotate", 'a', 1},
};

bool requestFocus(const char* word) {
    for (const WordValue& row : kFocusWords) {
        if (strcasecmp(word, row.word) == 0) {
            replaceIfUnchanged(giAfRequest, 0, row.value);
            return true;
        }
    }
    return false;
}

bool requestHome(const char* word) {
    const std::int32_t request = valueOfWord(kHomeWords, word, 0);
    if (request == 0) {
        return false;
    }
    giHomeRequest = request;
    return true;
}

bool forwardWord(const char* word) {
    for (const ForwardedWord& row : kForwardedWords) {
        if (isWord(word, row.word)) {
            nbus_set(row.key, word);
            return true;
        }
    }
    return false;
}

bool requestFocusTest(const char* word) {
    if (!isWord(word, kFocusTestWord)) {
        return false;
    }
    replaceIfUnchanged(giAfRequest, 0, kFocusTestRequest);
    return true;
}

void forwardLetter(const char* word) {
    for (const LetterRow& row : kLetters) {
        if (word[0] == row.letter) {
            const std::int64_t number = parseDecimal(word + 1);
            char text[128] = {};
            std::snprintf(text, sizeof text, "%c:%d", row.form, cutToInt32(row.sign * number));
            nbus_set(row.key, text);
            return;
        }
    }
}

}  // namespace

void handleActPreset(const char*, const char* value) {
    const std::int32_t pending = giActPreset;
    std::printf("giActPreset=%d\n", pending);
    if (pending != kNoPreset) {
        return;
    }
    std::printf("giActPreset=%d %s\n", pending, value);
    for (const PresetWord& row : kPresetWords) {
        if (matches(row, value)) {
            std::puts(row.notice);
            const bool locked = contains(value, "set:lock");
            giActPreset = locked ? row.lockedRequest : row.request;
            return;
        }
    }
}

void handleActionCommand(const char*, const char* value) {
    if (isWord(value, "done")) {
        return;
    }
    nbus_set("lens.camN.status", "");
    if (!requestFocus(value) && !requestHome(value) && !forwardWord(value) &&
        !requestFocusTest(value)) {
        forwardLetter(value);
    }
}

void handleDemoAction(const char*, const char* value) {
    postCommand(gszDemoPtzAction, value);
}
