#include "axis/end_stop_drives.h"

#include "axis/axes.h"
#include "axis/motor_codes.h"
#include "control_state.h"
#include "numbers.h"
#include "platform/motor_mcu.h"

namespace {

// Stands for an overrun of a tenth of the range.
constexpr int kTenth = -1;

struct DriveRow {
    EndStopDrive drive;
    Axis axis;
    int (*order)(int code, int steps, int speed);
    int code;
    int overrun;  // steps beyond the maximum, or kTenth
    int speed;
};

// Rotate's code is -1 here and -3 in its moves; meant so.
constexpr DriveRow kDrives[] = {
    {EndStopDrive::pan, Axis::pan, setPanBackwardS, kHead, 1000, kPanHomeSpeed},
    {EndStopDrive::tilt, Axis::tilt, setTiltForwardS, kHead, kTenth, kTiltHomeSpeed},
    {EndStopDrive::rotate, Axis::rotate, setRotatBackward, kDriveCode, kTenth, kLensSpeed},
    {EndStopDrive::zoom, Axis::zoom, setZoom8Forward, kDriveCode, kTenth, kLensSpeed},
    {EndStopDrive::focus, Axis::focus, setFocus8Backward, kDriveCode, kTenth, kLensSpeed},
    {EndStopDrive::iris, Axis::iris, setIrisBackward, kDriveCode, kTenth, kLensSpeed},
    {EndStopDrive::irisOfFullHome, Axis::iris, setIrisBackward, kIrisCode, kTenth, kLensSpeed},
    {EndStopDrive::panFast, Axis::pan, setPanBackwardS, kHead, 1000, kPanFastHomeSpeed},
    {EndStopDrive::tiltFast, Axis::tilt, setTiltForwardS, kHead, 200, kTiltHomeSpeed},
    {EndStopDrive::rotateFast, Axis::rotate, setRotatBackward, kDriveCode, 500, kLensSpeed},
};

void order(const DriveRow& row) {
    const std::int64_t maximum = axisMaximum(row.axis);
    const std::int64_t overrun = row.overrun == kTenth ? maximum / 10 : row.overrun;
    const bool reversedZoom = row.axis == Axis::zoom && giLensVariant == 2;
    LockedBlock lock(gMotorLock);
    (reversedZoom ? setZoom8Backward : row.order)(row.code, saturateToInt32(maximum + overrun),
                                                  row.speed);
}

}  // namespace

void driveToEndStop(EndStopDrive drive) {
    for (const DriveRow& row : kDrives) {
        if (row.drive == drive) {
            order(row);
            return;
        }
    }
}

void drivePanForward(std::int32_t steps) {
    LockedBlock lock(gMotorLock);
    setPanForwardS(kHead, steps, kPanHomeSpeed);
}
