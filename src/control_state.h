// The shared control state: every variable that the bus handlers, the supervision loop (main
// thread) and the lens loop (lens thread) exchange.
//
// Each is one atomic word, read and written without a lock. A step reads a value once and works
// with the copy; where it writes back what another thread may have replaced meanwhile, it replaces
// only the value that it read (`replaceIfUnchanged`). Positions, ranges and targets are motor
// steps.
#pragma once

#include <pthread.h>

#include <cstddef>
#include <cstdint>

#include "shared.h"

using SharedInt = Shared<std::int32_t>;

// Stores `next` only while `shared` still holds `read`; false if another thread got there first.
inline bool replaceIfUnchanged(SharedInt& shared, std::int32_t read, std::int32_t next) {
    return shared.compare_exchange_strong(read, next);
}

// Serialises the motor library: held for exactly one library call, never across a sleep.
extern pthread_mutex_t gMotorLock;
// Guards the four overwrite command buffers while they are copied or cleared.
extern pthread_mutex_t gCmdMutex;

// Holds a mutex for the length of a block.
struct LockedBlock {
    explicit LockedBlock(pthread_mutex_t& mutex) : mutex_(mutex) {
        beforeSharedStep();
        pthread_mutex_lock(&mutex_);
        beforeSharedStep();
    }
    ~LockedBlock() {
        beforeSharedStep();
        pthread_mutex_unlock(&mutex_);
    }
    LockedBlock(const LockedBlock&) = delete;
    LockedBlock& operator=(const LockedBlock&) = delete;

private:
    pthread_mutex_t& mutex_;
};

// --- Process ---

// 1 once the process is to end. Written by the signal handler; read by both loops and fast homing.
extern constinit SharedInt giExit;

// --- Axis table ---

// Words of `gLensRange`, in the order of the position file; the words not named are reserved.
enum LensField : std::size_t {
    kZoomMaximum = 0,
    kZoomMinimum = 2,
    kFocusMaximum = 3,
    kFocusMinimum = 4,
    kIrisMaximum = 5,
    kIrisMinimum = 6,
    kPanMaximum = 7,
    kPanMinimum = 8,
    kTiltMaximum = 9,
    kTiltMinimum = 10,
    kRotateMaximum = 11,
    kRotateMinimum = 12,
    kZoomPosition = 13,
    kFocusPosition = 15,
    kPanPosition = 16,
    kTiltPosition = 17,
    kRotatePosition = 18,
    kIrisPosition = 20,
    kLensFieldCount = 30,
};

// Ranges and current positions. Ranges are written once at start-up; positions by start-up, then by
// the lens thread only. Read everywhere.
extern constinit SharedInt gLensRange[kLensFieldCount];

// 2 when the lens type is 10, else 1. Written by the lens thread at its start.
extern constinit SharedInt giLensVariant;
// The controller's own tilt and pan counters minus our positions, as found at start-up; 0 after
// homing.
extern constinit SharedInt giTiltOffset, giPanOffset;

// --- Axis commands: from the main thread to the lens loop ---

// What has been ordered since the lens loop last took the targets (order of `Axis`): nothing, an
// absolute target (in `steps`), or else relative words: `steps` to be added to the target, the
// result forced between `low` and `high`. Written by `axis/targets.h`. Aligned to its whole size:
// with less, some compilers call a library instead of making one access.
struct alignas(8) WaitingOrder {
    std::int32_t steps;
    // No range reaches beyond 16 bits. `high` 0 below `low` tells what is no relative order.
    std::uint16_t low;
    std::uint16_t high;
    bool operator==(const WaitingOrder&) const = default;
};
inline constexpr WaitingOrder kNoOrder = {0, 1, 0};
// The `low` of an absolute order by a word, or by something else.
inline constexpr std::uint16_t kWordLow = 2;
inline constexpr std::uint16_t kOtherLow = 3;
extern constinit Shared<WaitingOrder> gaWaitingOrder[6];
// Absolute targets; a move starts whenever target and position differ. Written by the lens thread
// (and start-up).
extern constinit SharedInt giPanTarget, giTiltTarget, giNewRotat, giZoomTarget, giFocusTarget,
    giIrisTarget;
// Continuous commands: 0 none, sign = direction; pan and tilt: magnitude 1 to 9 = speed step,
// others: a step multiplier.
extern constinit SharedInt iPanContinuous, iTiltContinuous, iRotateContinuous, iZoomContinuous,
    iFocusContinuous, iIrisContinuous;
// 1 while the main thread stores what a word asks for that ends the axis's continuous command, sets
// its move state and orders a target (order of `Axis`).
extern constinit SharedInt gaMoveComing[6];
// Move states.
enum MoveState : std::int32_t {
    kMoveIdle = 0,
    kMoveContinuous = 1,
    kMoveAbsolute = 2,
    kMovePreset = 3,     // focus: also autofocus
    kMoveRequested = 4,  // by a word; becomes kMoveAbsolute, but zoom's ends from here
    kZoomRequested = 5,  // becomes kMoveRequested, and so ends without focus-after-zoom
};
extern constinit SharedInt iPanMove, iTiltMove, iRotateMove, iZoomMove, iFocusMove, iIrisMove;

// --- Requests: raised by handlers and command words, reset by the lens loop when done ---

// 0 none; 1 fast autofocus; 2, 5, 6 contrast sweep in that mode; 3 contrast sweep in mode 2.
extern constinit SharedInt giAfRequest;
// 0 none; 1 all, 10 all then autofocus, 2 rotate and lens, 3 pan and tilt, 4 lens, 5 pan, tilt and
// rotate; 11 all at once, 12 likewise to the default lens position, then autofocus; 13 and 14
// straight to preset 1 or 2.
extern constinit SharedInt giHomeRequest;
// -1 none; 1 to 4 store, 1001/1002 go, 2001/2002 delete.
extern constinit SharedInt giActPreset;
// 0 none; 1 or 2 level the rotate axis; 3 rotate test run.
extern constinit SharedInt giAutoRotate;
// 1 after "kick-off"; cleared by the supervision loop.
extern constinit SharedInt giFwUpdate;

// --- Motion bookkeeping ---

// Axes whose status key says running or failed: bit 0 focus, 1 zoom, 2 pan, 3 tilt, 4 rotate.
// Written by the bus handlers, read by the lens loop.
extern constinit SharedInt giMotorRunning;
// Last published positions (order of `Axis`), whether an axis is due whatever its position, and
// whether the position file is behind the published positions. Lens thread (and start-up).
extern constinit SharedInt gaLastPublished[6];
extern constinit SharedInt gaPublishDue[6];
extern constinit SharedInt giPublishPending;
// Raw monotonic time of the last move start, in microseconds (seconds * 1000000 + microseconds).
// Written by the lens thread, read by the supervision loop.
extern constinit Shared<std::int64_t> gtMoveStart;

// --- Power, in hundredths of a watt ---

// Present draw of the motors. Written by the axis layer, read by the supervision loop.
extern constinit SharedInt giPanPower, giTiltPower, giZoomPower, giFocusPower, giRotatePower;
// Draw of the LEDs as last sent. Written where they are sent, read by the supervision loop.
extern constinit SharedInt giLedPowerLoad;
// Draw of encoder, denoise and wide dynamic range, from their bus keys.
extern constinit SharedInt giEncodeLoad, giDenoiseLoad, giWdrLoad;

// --- Settings from the bus: written by the handlers ---

// Image orientation, each 0 or 1. `giRotate` is also written by presets and rotate mode.
extern constinit SharedInt giFlip, giMirror, giRotate;
// Mount as set by the user: 0 ceiling, 1 desktop, 2 wall.
extern constinit SharedInt giInstall;
// Orientation watch: 0 off, 1 "auto", 2 "rotate".
extern constinit SharedInt giModeRotate;
// Result of the motion sensor's identity check: 0 present, -1 absent or not yet checked. Written
// once by the main thread.
extern constinit SharedInt giGyroCheck;
// -1 while the power supply is not ready, else 0.
extern constinit SharedInt giPoeStatus;
// 1 = autofocus when a zoom move ends.
extern constinit SharedInt giFocusAfterZoom;
// 1 while the video encoder runs.
extern constinit SharedInt giEncodeStarted;
// Iris table percentage and the exposure's current gain.
extern constinit SharedInt giIrisTable, giCurrentGain;
// Number of slave cameras, at least 1.
extern constinit SharedInt giSlaveCameras;
// Demo mode word.
extern constinit SharedInt giDemoPtzMode;

// --- Light settings from the bus ---

// Demo LED mode and manual colour, levels 0 to 255. The supervision loop writes them too.
extern constinit SharedInt giDemoLedMode, giDemoLedR, giDemoLedG, giDemoLedB, giDemoLedW;
// Flash period in steps and brightness of the event lights.
extern constinit SharedInt giLightFlashPeriod, giLightBrightness;
// Per light (0 front left, 1 front right, 2 back left, 3 back right): colour code (white, green,
// yellow, red, blue, dark), state code (off, on, slow, medium, fast) and level.
extern constinit SharedInt gaLightColor[4], gaLightState[4], gaLightBrightness[4];
// Event orders: sequence number per event (0 = cleared), the raw monotonic second at which it was
// triggered, and the next sequence number.
inline constexpr int kOnvifEntries = 31;
extern constinit SharedInt gaOnvifOrder[kOnvifEntries];
extern constinit Shared<std::int64_t> gaOnvifTime[kOnvifEntries];
extern constinit SharedInt giOnvifSeq;
// Relays: mode (2 monostable, 1 bistable) and time-out as written on the bus.
inline constexpr int kRelays = 10;
extern constinit SharedInt gaRelayMode[kRelays], gaRelayTimeout[kRelays];
// LED test mode.
extern constinit SharedInt giLedTestMode;
// LED power limit as set, as applied, and 1 while a new limit has not been applied.
extern constinit SharedInt giLedPower, giLedPowerApplied, giLedPowerChanged;
// LED enable switches; 0 darkens the LED.
inline constexpr int kLedSwitches = 10;
extern constinit Shared<std::uint8_t> gaLedCtrl[kLedSwitches];
