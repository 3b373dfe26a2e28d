#include "motion/command_words.h"

#include <cstdio>
#include <span>

#include "axis/axes.h"
#include "axis/marker_files.h"
#include "axis/targets.h"
#include "control_state.h"
#include "numbers.h"
#include "words.h"

namespace {

// What a word does.
enum class Effect {
    store,      // value into variable
    search,     // requests an autofocus unless one is pending, and ends the continuous focus
    toMaximum,  // to an end of the range
    toMinimum,
    toMaximumAsIs,  // likewise, leaving the move state alone
    toMinimumAsIs,
    absolute,
    relative,
    pan,  // continuous, with a speed; value is its sign
    tilt,
};

struct WordRow {
    const char* word;
    Effect effect;
    SharedInt* variable = nullptr;
    std::int32_t value = 0;
    const char* notice = nullptr;  // printed first
    bool dropsHomeMarker = false;  // a manual rotate move invalidates the levelled position
};

// An axis's words in the order in which they are tested.
struct WordTable {
    Axis axis;
    MoveState requestState;  // what a requested move stores in the move state
    std::span<const WordRow> words;
};

using enum Effect;

constexpr WordRow kFocusWords[] = {
    {"fullrange", search, &giAfRequest, 1},
    {"shortrange", search, &giAfRequest, 2},
    {"all", search, &giAfRequest, 1},
    {"near", store, &iFocusContinuous, 1},
    {"far", store, &iFocusContinuous, -1},
    {"stop", store, &iFocusContinuous, 0},
    {"full_near", toMaximum},
    {"full_far", toMinimum},
    {"a:", absolute},
    {"r:", relative},
    {"home", store, &giHomeRequest, 1},
};

constexpr WordRow kZoomWords[] = {
    {"in", store, &iZoomContinuous, 1},
    {"out", store, &iZoomContinuous, -1},
    {"stop", store, &iZoomContinuous, 0, "Stop Zoom"},
    {"full_in", toMaximum},
    {"full_out", toMinimum},
    {"a:", absolute},
    {"r:", relative},
    {"home", store, &giHomeRequest, 1},
};

constexpr WordRow kRotateWords[] = {
    {"forward", store, &iRotateContinuous, 1, nullptr, true},
    {"backward", store, &iRotateContinuous, -1, nullptr, true},
    {"autoh", store, &giAutoRotate, 1},
    {"auto", store, &giAutoRotate, 1},
    {"autov", store, &giAutoRotate, 2},
    {"stop", store, &iRotateContinuous, 0},
    {"full_forward", toMaximum, nullptr, 0, nullptr, true},
    {"full_backward", toMinimum, nullptr, 0, nullptr, true},
    {"a:", absolute, nullptr, 0, nullptr, true},
    {"r:", relative, nullptr, 0, nullptr, true},
    {"test", store, &giAutoRotate, 3},
    {"home", store, &giHomeRequest, 1},
};

constexpr WordRow kPanWords[] = {
    {"left", pan, &iPanContinuous, 1},
    {"right", pan, &iPanContinuous, -1},
    {"stop", store, &iPanContinuous, 0},
    {"a:", absolute},
    {"r:", relative},
    {"home", store, &giHomeRequest, 1},
    {"homeaf", store, &giHomeRequest, 10},
    {"homefast", store, &giHomeRequest, 11},
};

constexpr WordRow kTiltWords[] = {
    {"up", tilt, &iTiltContinuous, 1},
    {"down", tilt, &iTiltContinuous, -1},
    {"stop", store, &iTiltContinuous, 0},
    {"full_up", toMaximum},
    {"full_down", toMinimum},
    {"a:", absolute},
    {"r:", relative},
    {"home", store, &giHomeRequest, 1},
};

constexpr WordRow kIrisWords[] = {
    {"open", store, &iIrisContinuous, -1},
    {"close", store, &iIrisContinuous, 1},
    {"full_open", toMinimumAsIs},
    {"full_close", toMaximumAsIs},
    {"a:", absolute},
    {"r:", relative},
    {"home", store, &giHomeRequest, 1},
};

constexpr WordTable kFocusTable = {Axis::focus, kMoveRequested, kFocusWords};
constexpr WordTable kZoomTable = {Axis::zoom, kZoomRequested, kZoomWords};
constexpr WordTable kRotateTable = {Axis::rotate, kMoveRequested, kRotateWords};
constexpr WordTable kPanTable = {Axis::pan, kMoveRequested, kPanWords};
constexpr WordTable kTiltTable = {Axis::tilt, kMoveRequested, kTiltWords};
constexpr WordTable kIrisTable = {Axis::iris, kMoveRequested, kIrisWords};

constexpr std::int32_t kFullSpeed = 9;

bool isPrefix(Effect effect) {
    return effect == absolute || effect == relative || effect == pan || effect == tilt;
}

// The lens loop acts on the order, a target or steps, so that goes last.
void requestMove(const WordTable& table, std::int32_t value,
                 void (*order)(Axis axis, std::int32_t value)) {
    const AxisRow& axis = axisRow(table.axis);
    SharedInt& coming = gaMoveComing[static_cast<std::size_t>(table.axis)];
    coming = 1;
    *axis.continuous = 0;
    *axis.move = table.requestState;
    order(table.axis, value);
    coming = 0;
}

void requestMoveAsIs(const WordTable& table, std::int32_t target) {
    *axisRow(table.axis).continuous = 0;
    orderTargetByWord(table.axis, target);
}

// The number after a colon, or full speed without one, with the direction's sign.
std::int32_t wantedSpeed(const WordRow& row, const char* rest) {
    const std::int64_t magnitude = rest[0] == ':' ? parseDecimal(rest + 1) : kFullSpeed;
    return cutToInt32(row.value * magnitude);
}

// A picture that is mirrored (or flipped), or else turned, moves the other way.
std::int32_t asSeen(std::int32_t speed, std::int32_t mirrored) {
    const std::int32_t rotate = giRotate;
    const bool reversed = (rotate == 0 && mirrored == 1) || (rotate != 0 && mirrored == 0);
    return reversed ? cutToInt32(-std::int64_t{speed}) : speed;
}

void runPan(const WordRow& row, const char* rest) {
    const std::int32_t speed = asSeen(wantedSpeed(row, rest), giMirror);
    iPanContinuous = speed;
    std::printf("iPanContinuous=%d iTiltContinuous=%d\n", speed, iTiltContinuous.load());
}

// Only a speed that is given is printed, and only upwards with its text.
void runTilt(const WordRow& row, const char* rest) {
    const std::int32_t speed = wantedSpeed(row, rest);
    if (rest[0] == ':' && row.value > 0) {
        std::printf("iTiltContinuous=%d %s\n", speed, rest + 1);
    } else if (rest[0] == ':') {
        std::printf("iTiltContinuous=%d\n", speed);
    }
    iTiltContinuous = asSeen(speed, giFlip);
}

// `rest` is what follows the row's word.
void apply(const WordTable& table, const WordRow& row, const char* rest) {
    switch (row.effect) {
        case store:
            *row.variable = row.value;
            break;
        case search:
            replaceIfUnchanged(*row.variable, 0, row.value);
            iFocusContinuous = 0;
            break;
        case toMaximum:
            requestMove(table, axisMaximum(table.axis), orderTargetByWord);
            break;
        case toMinimum:
            requestMove(table, axisMinimum(table.axis), orderTargetByWord);
            break;
        case toMaximumAsIs:
            requestMoveAsIs(table, axisMaximum(table.axis));
            break;
        case toMinimumAsIs:
            requestMoveAsIs(table, axisMinimum(table.axis));
            break;
        case absolute:
            requestMove(table, clampToAxis(table.axis, parseDecimal(rest)), orderTargetByWord);
            break;
        case relative:
            requestMove(table, parseDecimal(rest), orderRelative);
            break;
        case pan:
            runPan(row, rest);
            break;
        case tilt:
            runTilt(row, rest);
            break;
    }
}

void interpret(const WordTable& table, const char* word) {
    for (const WordRow& row : table.words) {
        if (isPrefix(row.effect) ? !startsWith(word, row.word) : !isWord(word, row.word)) {
            continue;
        }
        if (row.notice != nullptr) {
            std::puts(row.notice);
        }
        if (row.dropsHomeMarker) {
            clearHomeFile();
        }
        apply(table, row, word + std::strlen(row.word));
        return;
    }
}

}  // namespace

void focusCommand(const char* word) {
    interpret(kFocusTable, word);
}

void zoomCommand(const char* word) {
    interpret(kZoomTable, word);
}

void rotateCommand(const char* word) {
    interpret(kRotateTable, word);
}

void panCommand(const char* word) {
    interpret(kPanTable, word);
}

void tiltCommand(const char* word) {
    interpret(kTiltTable, word);
}

void irisCommand(const char* word) {
    interpret(kIrisTable, word);
}
