#include "motion/command_words.h"

#include <cstdio>
#include <cstring>
#include <span>

#include "axis/axes.h"
#include "axis/marker_files.h"
#include "control_state.h"
#include "numbers.h"

namespace {

bool startsWith(const char* word, const char* prefix) {
    return std::strncmp(word, prefix, std::strlen(prefix)) == 0;
}

// What the numeric forms "a:" and "r:" and the words to the ends of the range do to an axis.
struct MoveRow {
    Axis axis;
    Axis relativeLimits;        // whose range bounds "r:"
    std::int32_t requestState;  // stored in the move state
};

// "r:" of zoom and rotate is bounded by the focus range; meant so.
constexpr MoveRow kFocusMoves = {Axis::focus, Axis::focus, 4};
constexpr MoveRow kZoomMoves = {Axis::zoom, Axis::focus, 5};
constexpr MoveRow kRotateMoves = {Axis::rotate, Axis::focus, 4};
constexpr MoveRow kPanMoves = {Axis::pan, Axis::pan, 4};
constexpr MoveRow kTiltMoves = {Axis::tilt, Axis::tilt, 4};
constexpr MoveRow kIrisMoves = {Axis::iris, Axis::iris, 4};

// The target goes last, so that the lens loop finds the rest in place when it sees it.
void requestMove(const MoveRow& row, std::int32_t target) {
    const AxisRow& axis = axisRow(row.axis);
    *axis.continuous = 0;
    *axis.move = row.requestState;
    *axis.target = target;
}

// "a:N" and "r:N". Whether the word was one of them.
bool numericMove(const MoveRow& row, const char* word) {
    if (startsWith(word, "a:")) {
        requestMove(row, clampToAxis(row.axis, parseDecimal(word + 2)));
        return true;
    }
    if (startsWith(word, "r:")) {
        const std::int64_t target =
            std::int64_t{*axisRow(row.axis).target} + parseDecimal(word + 2);
        requestMove(row, clampToAxis(row.relativeLimits, target));
        return true;
    }
    return false;
}

// Words that store one value in one variable.
struct StoreWord {
    const char* word;
    SharedInt* variable;
    std::int32_t value;
};

bool storeWord(std::span<const StoreWord> table, const char* word) {
    for (const StoreWord& row : table) {
        if (std::strcmp(word, row.word) == 0) {
            *row.variable = row.value;
            return true;
        }
    }
    return false;
}

// Words that drive an axis to an end of its range.
struct EndWord {
    const char* word;
    bool maximum;
};

bool endWord(const MoveRow& row, std::span<const EndWord> table, const char* word) {
    for (const EndWord& end : table) {
        if (std::strcmp(word, end.word) == 0) {
            requestMove(row, end.maximum ? axisMaximum(row.axis) : axisMinimum(row.axis));
            return true;
        }
    }
    return false;
}

struct RequestWord {
    const char* word;
    std::int32_t request;
};

constexpr RequestWord kFocusSearches[] = {{"fullrange", 1}, {"shortrange", 2}, {"all", 1}};
constexpr StoreWord kFocusWords[] = {
    {"near", &iFocusContinuous, 1},
    {"far", &iFocusContinuous, -1},
    {"stop", &iFocusContinuous, 0},
    {"home", &giHomeRequest, 1},
};
constexpr EndWord kFocusEnds[] = {{"full_near", true}, {"full_far", false}};

constexpr StoreWord kZoomWords[] = {
    {"in", &iZoomContinuous, 1},
    {"out", &iZoomContinuous, -1},
    {"home", &giHomeRequest, 1},
};
constexpr EndWord kZoomEnds[] = {{"full_in", true}, {"full_out", false}};

// A manual rotate move invalidates the levelled position: these words drop the home marker first.
constexpr StoreWord kManualRotateWords[] = {
    {"forward", &iRotateContinuous, 1},
    {"backward", &iRotateContinuous, -1},
};
constexpr EndWord kRotateEnds[] = {{"full_forward", true}, {"full_backward", false}};
constexpr StoreWord kRotateWords[] = {
    {"autoh", &giAutoRotate, 1},     {"auto", &giAutoRotate, 1}, {"autov", &giAutoRotate, 2},
    {"stop", &iRotateContinuous, 0}, {"test", &giAutoRotate, 3}, {"home", &giHomeRequest, 1},
};

constexpr StoreWord kPanWords[] = {
    {"stop", &iPanContinuous, 0},
    {"home", &giHomeRequest, 1},
    {"homeaf", &giHomeRequest, 10},
    {"homefast", &giHomeRequest, 11},
};

constexpr StoreWord kTiltWords[] = {
    {"stop", &iTiltContinuous, 0},
    {"home", &giHomeRequest, 1},
};
constexpr EndWord kTiltEnds[] = {{"full_up", true}, {"full_down", false}};

constexpr StoreWord kIrisWords[] = {
    {"open", &iIrisContinuous, -1},
    {"close", &iIrisContinuous, 1},
    {"home", &giHomeRequest, 1},
};

constexpr std::int32_t kFullSpeed = 9;

// The number after a colon that follows the direction word; full speed without a colon.
std::int32_t speedAfter(const char* rest) {
    return rest[0] == ':' ? parseDecimal(rest + 1) : kFullSpeed;
}

std::int32_t negated(std::int32_t value) {
    return cutToInt32(-std::int64_t{value});
}

// A picture that is mirrored (or flipped), or else turned, moves the other way.
std::int32_t asSeen(std::int32_t speed, std::int32_t mirrored) {
    const std::int32_t rotate = giRotate;
    const bool reversed = (rotate == 0 && mirrored == 1) || (rotate != 0 && mirrored == 0);
    return reversed ? negated(speed) : speed;
}

void runPan(std::int32_t speed) {
    iPanContinuous = asSeen(speed, giMirror);
    std::printf("iPanContinuous=%d iTiltContinuous=%d\n", iPanContinuous.load(),
                iTiltContinuous.load());
}

bool focusSearch(const char* word) {
    for (const RequestWord& row : kFocusSearches) {
        if (std::strcmp(word, row.word) == 0) {
            replaceIfUnchanged(giAfRequest, 0, row.request);
            iFocusContinuous = 0;
            return true;
        }
    }
    return false;
}

// Full open and full close leave the move state alone; the lens loop starts the move all the same.
bool irisEnd(const char* word) {
    const bool open = std::strcmp(word, "full_open") == 0;
    if (!open && std::strcmp(word, "full_close") != 0) {
        return false;
    }
    iIrisContinuous = 0;
    giIrisTarget = open ? axisMinimum(Axis::iris) : axisMaximum(Axis::iris);
    return true;
}

// Whether the word moves the rotate axis by hand.
bool isManualRotate(const char* word) {
    for (const StoreWord& row : kManualRotateWords) {
        if (std::strcmp(word, row.word) == 0) {
            return true;
        }
    }
    for (const EndWord& row : kRotateEnds) {
        if (std::strcmp(word, row.word) == 0) {
            return true;
        }
    }
    return startsWith(word, "a:") || startsWith(word, "r:");
}

}  // namespace

void focusCommand(const char* word) {
    if (focusSearch(word) || endWord(kFocusMoves, kFocusEnds, word) ||
        numericMove(kFocusMoves, word)) {
        return;
    }
    storeWord(kFocusWords, word);
}

void zoomCommand(const char* word) {
    if (std::strcmp(word, "stop") == 0) {
        std::puts("Stop Zoom");
        iZoomContinuous = 0;
        return;
    }
    if (!endWord(kZoomMoves, kZoomEnds, word) && !numericMove(kZoomMoves, word)) {
        storeWord(kZoomWords, word);
    }
}

void rotateCommand(const char* word) {
    if (isManualRotate(word)) {
        clearHomeFile();
        if (!endWord(kRotateMoves, kRotateEnds, word) && !numericMove(kRotateMoves, word)) {
            storeWord(kManualRotateWords, word);
        }
        return;
    }
    storeWord(kRotateWords, word);
}

void panCommand(const char* word) {
    if (startsWith(word, "left")) {
        runPan(speedAfter(word + 4));
    } else if (startsWith(word, "right")) {
        runPan(negated(speedAfter(word + 5)));
    } else if (!numericMove(kPanMoves, word)) {
        storeWord(kPanWords, word);
    }
}

void tiltCommand(const char* word) {
    if (startsWith(word, "up")) {
        const std::int32_t speed = speedAfter(word + 2);
        if (word[2] == ':') {
            std::printf("iTiltContinuous=%d %s\n", speed, word + 3);
        }
        iTiltContinuous = asSeen(speed, giFlip);
    } else if (startsWith(word, "down")) {
        const std::int32_t speed = negated(speedAfter(word + 4));
        if (word[4] == ':') {
            std::printf("iTiltContinuous=%d\n", speed);
        }
        iTiltContinuous = asSeen(speed, giFlip);
    } else if (!endWord(kTiltMoves, kTiltEnds, word) && !numericMove(kTiltMoves, word)) {
        storeWord(kTiltWords, word);
    }
}

void irisCommand(const char* word) {
    if (!irisEnd(word) && !numericMove(kIrisMoves, word)) {
        storeWord(kIrisWords, word);
    }
}
