#include "axis/marker_files.h"

#include <fcntl.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <string>

#include "control_state.h"
#include "numbers.h"
#include "platform/files.h"
#include "platform/nbus.h"

namespace {

constexpr char kHomeFile[] = "/mnt/nand/Home.txt";

// 1 = this run created the file. The home marker's starts at 1, so that the first clear also
// removes a file left by an earlier run.
constinit SharedInt giFocusMotorFile = 0;
constinit SharedInt giZoomMotorFile = 0;
constinit SharedInt giRotateMotorFile = 0;
constinit SharedInt giPanMotorFile = 0;
constinit SharedInt giTiltMotorFile = 0;
constinit SharedInt giHomeFileSet = 1;

struct MarkerRow {
    Axis axis;
    const char* path;         // written while the motor moves
    const char* checkedPath;  // looked for at start-up
    SharedInt* created;
    const char* createdNotice;
    const char* removedNotice;
};

// In the order in which they are checked at start-up. The rotate marker is written under one
// spelling and looked for under another, so an interrupted rotate move is never reported; meant so.
constexpr MarkerRow kMarkers[] = {
    {Axis::focus, "/mnt/nand/FocusMotor.txt", "/mnt/nand/FocusMotor.txt", &giFocusMotorFile,
     nullptr, nullptr},
    {Axis::zoom, "/mnt/nand/ZoomMotor.txt", "/mnt/nand/ZoomMotor.txt", &giZoomMotorFile, nullptr,
     nullptr},
    {Axis::rotate, "/mnt/nand/RotatrMotor.txt", "/mnt/nand/RotateMotor.txt", &giRotateMotorFile,
     nullptr, nullptr},
    {Axis::pan, "/mnt/nand/PanMotor.txt", "/mnt/nand/PanMotor.txt", &giPanMotorFile,
     "Set PanMotor.txt", "Clean PanMotor.txt"},
    {Axis::tilt, "/mnt/nand/TiltMotor.txt", "/mnt/nand/TiltMotor.txt", &giTiltMotorFile, nullptr,
     nullptr},
};

const MarkerRow* markerOf(Axis axis) {
    for (const MarkerRow& row : kMarkers) {
        if (row.axis == axis) {
            return &row;
        }
    }
    return nullptr;
}

bool createEmptyFile(const char* path) {
    const int fd = open(devicePath(path).c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0) {
        return false;
    }
    close(fd);
    return true;
}

void removeFile(const char* path) {
    unlink(devicePath(path).c_str());
}

// The number that the file begins with, however many digits it has: of leading zeros one is kept,
// and what then does not fit is far beyond all that is asked for. False if there is none.
bool readNumber(std::FILE* file, std::int32_t& number) {
    char text[128] = {};
    std::size_t length = 0;
    int next = std::fgetc(file);
    while (std::isspace(next) != 0) {
        next = std::fgetc(file);
    }
    if (next == '-' || next == '+') {
        text[length++] = static_cast<char>(next);
        next = std::fgetc(file);
    }
    for (; next == '0'; next = std::fgetc(file)) {
        text[length] = '0';
    }
    length += text[length] == '0' ? 1 : 0;
    for (; std::isdigit(next) != 0 && length < sizeof text - 1; next = std::fgetc(file)) {
        text[length++] = static_cast<char>(next);
    }
    return readDecimal(text, number);
}

void announce(const char* notice) {
    if (notice != nullptr) {
        std::puts(notice);
    }
}

}  // namespace

void setMotorFile(Axis axis, bool on) {
    const MarkerRow* row = markerOf(axis);
    if (row == nullptr) {
        return;
    }
    if (on && *row->created != 1 && createEmptyFile(row->path)) {
        *row->created = 1;
        announce(row->createdNotice);
    } else if (!on && *row->created == 1) {
        announce(row->removedNotice);
        removeFile(row->path);
        *row->created = 0;
    }
}

std::int32_t readMotorFile(const char* path) {
    std::FILE* file = std::fopen(devicePath(path).c_str(), "r");
    if (file == nullptr) {
        return 0;
    }
    std::int32_t number = 0;
    const bool read = readNumber(file, number);
    std::fclose(file);
    return !read || number == 1 ? -1 : 0;
}

void ChackPowerOffStatus() {
    for (const MarkerRow& row : kMarkers) {
        if (readMotorFile(row.checkedPath) != 0) {
            nbus_set(axisRow(row.axis).statusKey, "fail");
        }
    }
    std::puts("ChackPowerOffStatus");
}

void setHomeFile() {
    if (createEmptyFile(kHomeFile)) {
        giHomeFileSet = 1;
    }
}

void clearHomeFile() {
    // The flag first: a marker that is made meanwhile can then be cleared by the next call.
    if (replaceIfUnchanged(giHomeFileSet, 1, 0)) {
        removeFile(kHomeFile);
    }
}

std::int32_t checkHomeFile() {
    if (giModeRotate == 0 && giGyroCheck != 0) {
        return 0;
    }
    if (access(devicePath(kHomeFile).c_str(), F_OK) == 0) {
        giAutoRotate = 1;
        setHomeFile();
    }
    return 0;
}
