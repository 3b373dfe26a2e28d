#include "orientation/install_detection.h"

#include <cmath>
#include <cstddef>
#include <cstdio>

#include "axis/axes.h"
#include "control_state.h"
#include "orientation/image_settings.h"

namespace {

constexpr double kSmallestPitchSum = 70;
constexpr double kSmallestRollSum = 100;
constexpr float kLargestPitch = 20;
constexpr float kQuadrantTolerance = 20;

// Settings in the order flip, mirror, rotate. The two blanks behind the last label are meant.
constexpr DirectMount kDirectMounts[] = {
    {between(-15, 15), below(0), above(0), "11111111 Ceiling", {false, false, false}},
    {between(-15, 15), above(0), below(0), "2222222222 desktop", {true, true, false}},
    {between(60, 90), below(0), above(0), "3333333333 Ceiling 16:9->9:16", {true, true, true}},
    {between(-90, -60), above(0), below(0), "4444444444 desktop 16:9->9:16 ", {false, false, true}},
};

struct CodeRow {
    std::int32_t code;
    const char* label;
    ImageSettings settings;
};

constexpr CodeRow kCodes[] = {
    {1, "aaaaaaaaaa 16:9->9:16", {true, true, true}},
    {2, "bbbbbbbbbbb", {false, false, false}},
    {3, "cccccccccc 16:9->9:16", {false, false, true}},
    {4, "dddddddddd", {true, true, false}},
};

// Which pair of pitches decides. The same quadrant has another meaning in each family.
enum Family : std::size_t { kXyzYzx, kZyxYzx, kNoFamily };
constexpr const char* kFamilyNames[] = {"xyz+yzx", "zyx+yzx"};

struct QuadrantRow {
    float pitch;
    float yzxPitch;
    const char* outcome[2];  // per family
    std::int32_t code[2];
};

constexpr QuadrantRow kQuadrants[] = {
    {90, 0, {"111111", "555555555"}, {1, 4}},
    {0, 270, {"22222222", "6666666666"}, {2, 3}},
    {270, 180, {"333333333", "77777777777"}, {3, 2}},
    {0, 90, {"44444444444", "888888888888"}, {4, 1}},
};

double sumOfSizes(float a, float b) {
    return std::fabs(static_cast<double>(a)) + std::fabs(static_cast<double>(b));
}

Family chooseFamily(const MountAngles& angles) {
    if (sumOfSizes(angles.xyzPitch, angles.yzxPitch) >= kSmallestPitchSum) {
        return kXyzYzx;
    }
    if (sumOfSizes(angles.zyxPitch, angles.yzxPitch) >= kSmallestPitchSum) {
        return kZyxYzx;
    }
    return kNoFamily;
}

// Folds the pair of pitches to 0..360.
void foldPitches(const MountAngles& angles, InstallFinding& finding) {
    float& a = finding.pitch;
    float& b = finding.yzxPitch;
    if (finding.pitchSum >= 0) {
        if (b < 0) {
            a = a < 0 ? a + 360 : a;
            b += 360;
        } else if (a < 0) {
            a += 360;
            b = 180 - std::fabs(b);
        }
    } else if (a < 0) {
        const bool below = b < 0;
        b = below ? std::fabs(b) + 180 : 180 - std::fabs(b);
        // From here the other family's pitch also serves zyx+yzx; meant so.
        a = below ? a + 360 : angles.xyzPitch + 360;
    } else if (b < 0) {
        b += 360;
    }
}

void decide(InstallFinding& finding, const char* lineFamily, const char* outcome,
            std::int32_t code) {
    finding.lineFamily = lineFamily;
    finding.outcome = outcome;
    finding.code = code;
}

bool decideByQuadrant(Family family, InstallFinding& finding) {
    for (const QuadrantRow& row : kQuadrants) {
        if (AngleNear(finding.pitch, row.pitch, kQuadrantTolerance) &&
            AngleNear(finding.yzxPitch, row.yzxPitch, kQuadrantTolerance)) {
            decide(finding, finding.family, row.outcome[family], row.code[family]);
            return true;
        }
    }
    return false;
}

// On its side at a wall, told by the rolls.
bool liesOnSide(const MountAngles& angles) {
    return !IsNearVertical(angles.zxRoll) &&
           sumOfSizes(angles.xzRoll, angles.zxRoll) >= kSmallestRollSum &&
           std::fabs(angles.zyxPitch) <= kLargestPitch;
}

void decideByWall(const MountAngles& angles, InstallFinding& finding) {
    if (!IsNearLevel(angles.yzRoll) && std::fabs(angles.xyzPitch) <= kLargestPitch) {
        if (angles.zyxPitch >= 0) {
            decide(finding, finding.family, "wall flimping down 99999999999", 4);
        } else {
            decide(finding, finding.family, "wall flimping up aaaaaaaaaaa", 2);
        }
    } else if (!liesOnSide(angles)) {
        return;
    } else if (angles.yzxPitch < 0) {
        decide(finding, finding.family, "wall flimping up bbbbbbbbbb", 1);
    } else if (angles.yzxPitch > 0) {
        // The last two lines name the first family whichever it is; meant so.
        if (angles.xyRoll >= 0) {
            decide(finding, kFamilyNames[kXyzYzx], "ceiling ddddddd", 1);
        } else {
            decide(finding, kFamilyNames[kXyzYzx], "wall flimping down cccccccccc", 3);
        }
    }
}

void publishSettings(const ImageSettings& settings) {
    publishImageSetting(kMirrorKey, settings.mirror);
    publishImageSetting(kFlipKey, settings.flip);
    publishImageSetting(kRotateKey, settings.rotate);
}

void announceAndPublish(const char* label, const ImageSettings& settings) {
    // "filp" is meant.
    std::printf("%s filp=%d mirror=%d rotate=%d\n", label, settings.flip, settings.mirror,
                settings.rotate);
    publishSettings(settings);
}

void printAngles(const MountAngles& angles) {
    std::printf(
        "3.Pos:%d xyzPitch: %.2f, zyxPitch: %.2f, yzxPitch: %.2f, yzRoll: %.2f, xzRoll: %.2f, "
        "xyRoll: %.2f, zxRoll: %.2f\n",
        axisPosition(Axis::pan), angles.xyzPitch, angles.zyxPitch, angles.yzxPitch, angles.yzRoll,
        angles.xzRoll, angles.xyRoll, angles.zxRoll);
}

void publishByCode(std::int32_t code, const ImageSettings& before) {
    for (const CodeRow& row : kCodes) {
        if (row.code == code) {
            announceAndPublish(row.label, row.settings);
            return;
        }
    }
    publishSettings(before);
}

}  // namespace

MountAngles mountAngles(const Acceleration& reading) {
    const PitchRoll xyz = CalcXyzPitchRoll(reading);
    const PitchRoll zyx = CalcZyxPitchRoll(reading);
    const PitchRoll yzx = CalcYzxPitchRoll(reading);
    const PitchRoll zx = CalcZxPitchRoll(reading);
    return {xyz.pitch, zyx.pitch, yzx.pitch, xyz.roll, zyx.roll, yzx.roll, zx.roll};
}

const DirectMount* findDirectMount(const MountAngles& angles) {
    for (const DirectMount& row : kDirectMounts) {
        if (meets(angles.xyzPitch, row.xyzPitch) && meets(angles.zyxPitch, row.zyxPitch) &&
            meets(angles.yzxPitch, row.yzxPitch)) {
            return &row;
        }
    }
    return nullptr;
}

InstallFinding classifyInstall(const MountAngles& angles) {
    InstallFinding finding;
    const Family family = chooseFamily(angles);
    if (family == kNoFamily) {
        return finding;
    }
    finding.family = kFamilyNames[family];
    finding.pitch = family == kXyzYzx ? angles.xyzPitch : angles.zyxPitch;
    finding.yzxPitch = angles.yzxPitch;
    finding.pitchSum = finding.pitch + finding.yzxPitch;
    foldPitches(angles, finding);
    if (!decideByQuadrant(family, finding)) {
        decideByWall(angles, finding);
    }
    return finding;
}

bool AngleNear(float a, float b, float tolerance) {
    const float difference = std::fabs(a - b);
    return (difference > 180 ? 360 - difference : difference) <= tolerance;
}

std::int32_t DetectInstallMode(const MountAngles& angles) {
    const InstallFinding finding = classifyInstall(angles);
    if (finding.family == nullptr) {
        return 0;
    }
    std::printf("[marlin] !!!! %s\n", finding.family);
    // The first three letters of the family name its pitch.
    std::printf("\n[marlin] !!!! %s pitch_sum=%.2f %.3s_pitch_360:%.2f yzx_pitch_360:%.2f\n",
                finding.family, finding.pitchSum, finding.family, finding.pitch, finding.yzxPitch);
    if (finding.outcome != nullptr) {
        std::printf("[marlin] !!!! %s %s\n", finding.lineFamily, finding.outcome);
    }
    return finding.code;
}

std::int32_t RotateMode1RPMode() {
    std::puts("in RotateMode1RPMode");
    const ImageSettings before = {giFlip == 1, giMirror == 1, giRotate == 1};
    const Acceleration reading = GyroReadAccel();
    std::printf("x:%.2f y:%.2f z:%.2f\n", reading.x, reading.y, reading.z);
    const MountAngles angles = mountAngles(reading);
    printAngles(angles);
    if (IsNearLevel(angles.yzRoll) && IsNearLevel(angles.xzRoll)) {
        std::puts("[kestrl] roll is 90 degree, noting to do");
    } else if (const DirectMount* mount = findDirectMount(angles)) {
        announceAndPublish(mount->label, mount->settings);
    } else {
        const std::int32_t code = DetectInstallMode(angles);
        std::printf("all mode:%d\n", code);
        publishByCode(code, before);
    }
    return giRotate;
}
