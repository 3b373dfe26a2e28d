#include "axis/position_store.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>

#include "axis/axes.h"
#include "axis/motor_codes.h"
#include "axis/targets.h"
#include "bus_values.h"
#include "control_state.h"
#include "numbers.h"
#include "platform/files.h"
#include "platform/motor_mcu.h"

namespace {

constexpr char kPositionFile[] = "/mnt/nand/Pos.bin";
constexpr int kIrisEndStopSteps = 150;

// The file's one record: no header, no checksum.
using Record = std::array<std::int32_t, kLensFieldCount>;
static_assert(sizeof(Record) == 120);

// Takes the axis's position as published and as its target.
void adoptRestingPosition(Axis axis) {
    const std::int32_t position = axisPosition(axis);
    gaLastPublished[static_cast<std::size_t>(axis)] = position;
    setTarget(axis, position);
}

std::int32_t readRecord(int fd, Record& record) {
    const ssize_t bytes = read(fd, record.data(), sizeof record);
    close(fd);
    return bytes == static_cast<ssize_t>(sizeof record) ? 1 : 0;
}

void printRecord(const Record& record) {
    std::printf("Pan Pos:%d\n", record[kPanPosition]);
    std::printf("Tilt Pos:%d\n", record[kTiltPosition]);
    std::printf("Rotate Pos:%d\n", record[kRotatePosition]);
    std::printf("Zoom Pos:%d\n", record[kZoomPosition]);
    std::printf("Focus Pos:%d\n", record[kFocusPosition]);
    std::printf("Iris Pos:%d\n", record[kIrisPosition]);
}

// The iris is referenced anew at every start. No lock: no other thread runs yet.
void referenceIris() {
    setAxisPosition(Axis::iris, 0);
    setIrisBackward(kIrisCode, kIrisEndStopSteps, kLensSpeed);
}

void publishAdopted(Axis axis) {
    adoptRestingPosition(axis);
    setKeyToNumber(axisRow(axis).positionKey, axisPosition(axis));
}

void measureOffsets() {
    int value = 0;
    getTiltnPos(kHead, &value);
    giTiltOffset = cutToInt32(std::int64_t{value} - axisPosition(Axis::tilt));
    value = 0;
    getPanPos(kHead, &value);
    giPanOffset = cutToInt32(std::int64_t{value} - axisPosition(Axis::pan));
    std::printf("giTiltOffset=%d giPanOffset=%d\n", giTiltOffset.load(), giPanOffset.load());
}

}  // namespace

void savePositions() {
    const int fd = open(devicePath(kPositionFile).c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    adoptRestingPosition(Axis::pan);
    adoptRestingPosition(Axis::tilt);
    if (fd < 0) {
        return;
    }
    Record record;
    for (std::size_t field = 0; field < record.size(); ++field) {
        record[field] = gLensRange[field];
    }
    // A record that does not fit is lost in silence; the next rest period writes it anew.
    [[maybe_unused]] const ssize_t written = write(fd, record.data(), sizeof record);
    close(fd);
}

std::int32_t loadPositions() {
    const int fd = open(devicePath(kPositionFile).c_str(), O_RDONLY);
    if (fd < 0) {
        return -1;
    }
    Record record = {};
    const std::int32_t records = readRecord(fd, record);
    printRecord(record);
    for (const Axis axis : {Axis::zoom, Axis::focus, Axis::pan, Axis::tilt, Axis::rotate}) {
        setAxisPosition(axis, record[axisRow(axis).position]);
    }
    referenceIris();
    for (const Axis axis :
         {Axis::pan, Axis::tilt, Axis::zoom, Axis::focus, Axis::rotate, Axis::iris}) {
        publishAdopted(axis);
    }
    measureOffsets();
    return records;
}
