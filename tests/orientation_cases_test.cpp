// The case tables of levelling and mount detection at their bounds.
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <sstream>
#include <string>

#include "orientation/auto_search.h"
#include "orientation/install_detection.h"
#include "orientation/rotate_mode.h"

namespace {

using M = MountAngles;

const std::map<std::string, float Attitude::*> kAttitudeAngles = {
    {"P", &Attitude::pitch}, {"Y", &Attitude::yaw}, {"R", &Attitude::roll}};
const std::map<std::string, float M::*> kMountAngles = {
    {"p", &M::xyzPitch}, {"q", &M::zyxPitch}, {"r", &M::yzxPitch}, {"yz", &M::yzRoll},
    {"xz", &M::xzRoll},  {"xy", &M::xyRoll},  {"zx", &M::zxRoll}};

// Checks that `classify` finds `name` at `base` and up to each of the bounds in `bounds`, and no
// further: "Y<45 P>270=7777777 zx<=70" says that the case holds for yaws below 45 alone, for
// pitches above 270 alone (on 270 the case 7777777 does) and for zx rolls up to 70; beyond it is
// "none".
template <typename Angles, typename Classify>
void expectBounds(const std::string& name, const Angles& base, const std::string& bounds,
                  const std::map<std::string, float Angles::*>& angleNames, Classify classify) {
    SCOPED_TRACE(name);
    EXPECT_EQ(classify(base), name);
    std::istringstream stream(bounds);
    for (std::string text; stream >> text;) {
        const std::size_t side = text.find_first_of("<>");
        const bool closed = text[side + 1] == '=';
        char* rest = nullptr;
        const float bound = std::strtof(text.c_str() + side + (closed ? 2 : 1), &rest);
        const std::string beyond = *rest == '=' ? rest + 1 : "none";
        const float outwards = text[side] == '<' ? 0.001F : -0.001F;
        Angles angles = base;
        float& value = angles.*angleNames.at(text.substr(0, side));
        value = closed ? bound : bound - outwards;
        EXPECT_EQ(classify(angles), name) << "inside " << text;
        value = closed ? bound + outwards : bound;
        EXPECT_EQ(classify(angles), beyond) << "beyond " << text;
    }
}

struct SearchRow {
    const char* marker;
    Attitude base;  // pitch, yaw, roll
    const char* bounds;
    bool flipAndMirror;
    void (*servo)(RotateDrive&, float);
    float target;
};

constexpr SearchRow kModeZero[] = {
    {"000000", {330, 0, 180}, "Y<45 Y>315 R>90 R<270 P>270=7777777 P<360", true, RotateToYaw, 360},
    {"22222222", {30, 0, 40}, "Y<45 Y>315 R<90 P<90=555555555", false, RotateToYaw, 360},
    {"22222222", {30, 0, 300}, "Y<45 Y>315 R>290 P<90=555555555", false, RotateToYaw, 360},
    {"1212121212", {30, 0, 175}, "Y<45 R>160 R<190 P<90=555555555", false, RotateToYaw, 360},
    {"13131313", {330, 0, 40}, "Y<45 Y>315 R<90 P>270=7777777", true, RotateToYaw, 360},
    {"13131313", {330, 0, 300}, "Y<45 Y>315 R>290 P>270=7777777", true, RotateToYaw, 360},
    {"555555555", {90, 100, 280}, "P>45 P<135", false, RotateToPitch, 90},
    {"7777777", {270, 100, 280}, "P>225 P<315", true, RotateToPitch, 270},
};

// A yaw below 10 never leads to the second case: the first one takes it.
constexpr SearchRow kOtherModes[] = {
    {"1111111", {0, 30, 180}, "P<45 P>315 R>90 R<270 Y<90=555555555", false, RotateToPitch, 360},
    {"99999", {0, 330, 180}, "P<45 P>315 R>90 R<270 Y>270=6666666", true, RotateToPitch, 360},
    {"33333333", {0, 330, 40}, "P<45 P>315 R<90 Y>270=6666666", true, RotateToPitch, 360},
    {"33333333", {0, 330, 300}, "P<45 P>315 R>290 Y>270=6666666", true, RotateToPitch, 360},
    {"888888", {0, 30, 40}, "P<45 P>315 R<90 Y<90=555555555", false, RotateToPitch, 360},
    {"888888", {0, 30, 300}, "P<45 P>315 R>280 Y<90=555555555", false, RotateToPitch, 360},
    {"555555555", {100, 90, 280}, "Y>45 Y<135", false, RotateToYaw, 90},
    {"6666666", {100, 270, 280}, "Y>225 Y<315", true, RotateToYaw, 270},
};

void expectSearchRow(int mode, const SearchRow& row) {
    expectBounds(row.marker, row.base, row.bounds, kAttitudeAngles, [mode](const Attitude& angles) {
        const SearchCase* found = findSearchCase(mode, angles);
        return std::string(found == nullptr ? "none" : found->marker);
    });
    const SearchCase* found = findSearchCase(mode, row.base);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->flipAndMirror, row.flipAndMirror) << row.marker;
    EXPECT_EQ(found->servo, row.servo) << row.marker;
    EXPECT_EQ(found->targetAngle, row.target) << row.marker;
}

TEST(OrientationCases, Search) {
    for (const SearchRow& row : kModeZero) {
        expectSearchRow(0, row);
    }
    for (const int mode : {1, 2, -1}) {
        SCOPED_TRACE(mode);
        for (const SearchRow& row : kOtherModes) {
            expectSearchRow(mode, row);
        }
    }
}

TEST(OrientationCases, Turns) {
    constexpr struct {
        const char* marker;
        Attitude base;
        const char* bounds;
        bool flipAndMirror;
        int rotate;
    } kRows[] = {
        {"000000", {310, 0, 180}, "Y<30 Y>330 R>90 R<270 P>270=7777777 P<360=1111111", true, 0},
        {"1111111", {0, 50, 180}, "P<30 P>330 R>90 R<270 Y<90=4444444444", false, 1},
        {"99999", {0, 320, 180}, "P<30 P>330 R>90 R<270 Y>270=6666666", true, 1},
        {"22222222", {50, 0, 40}, "Y<30 Y>330 R<90 P<90=555555555", false, 0},
        {"22222222", {50, 0, 300}, "R>290", false, 0},
        {"1212121212", {50, 0, 175}, "Y<30 Y>330 R>160 R<190 P<90=555555555", false, 0},
        {"33333333", {0, 320, 40}, "P<30 P>330 R<90 Y>270=6666666", true, 1},
        {"33333333", {0, 320, 300}, "R>290", true, 1},
        {"888888", {340, 50, 40}, "P>330 R<90 Y>10=13131313 Y<90=4444444444", false, 1},
        {"888888", {0, 50, 300}, "P<30 R>290", false, 1},
        {"13131313", {310, 0, 40}, "Y<30 Y>330 R<90 P>270=7777777", true, 0},
        {"13131313", {310, 0, 300}, "R>290", true, 0},
        {"4444444444", {200, 100, 280}, "Y>60 Y<130", false, 1},
        {"4444444444", {100, 100, 200}, "", false, 1},
        {"555555555", {100, 200, 280}, "P>60 P<130", false, 0},
        {"6666666", {200, 270, 280}, "Y>240 Y<300", true, 1},
        {"7777777", {270, 200, 280}, "P>240 P<300", true, 0},
    };
    for (const auto& row : kRows) {
        expectBounds(row.marker, row.base, row.bounds, kAttitudeAngles, [](const Attitude& angles) {
            const TurnCase* found = findTurnCase(angles);
            return std::string(found == nullptr ? "none" : found->marker);
        });
        const TurnCase* found = findTurnCase(row.base);
        ASSERT_NE(found, nullptr);
        EXPECT_EQ(found->flipAndMirror, row.flipAndMirror) << row.marker;
        EXPECT_EQ(found->rotate, row.rotate) << row.marker;
    }
}

TEST(OrientationCases, Resting) {
    const auto classify = [](const Attitude& angles) {
        return isResting(angles) ? "rest" : "none";
    };
    expectBounds("rest", {2, 358, 180}, "P<5 Y>355 R>170 R<190", kAttitudeAngles, classify);
    expectBounds("rest", {358, 2, 180}, "P>355 Y<5", kAttitudeAngles, classify);
    expectBounds("rest", {0, 0, 0}, "R<10", kAttitudeAngles, classify);
    expectBounds("rest", {0, 0, 355}, "R>350", kAttitudeAngles, classify);
}

TEST(OrientationCases, DirectMounts) {
    constexpr struct {
        const char* label;
        M base;
        const char* bounds;
        const char* settings;  // flip, mirror, rotate
    } kRows[] = {
        {"11111111 Ceiling", {0, -30, 30, 0, 0, 0, 0}, "p>-15 p<15 q<0 r>0", "000"},
        {"2222222222 desktop", {0, 30, -30, 0, 0, 0, 0}, "p>-15 p<15 q>0 r<0", "110"},
        {"3333333333 Ceiling 16:9->9:16", {70, -30, 30, 0, 0, 0, 0}, "p>60 p<90 q<0 r>0", "111"},
        {"4444444444 desktop 16:9->9:16 ",
         {-70, 30, -30, 0, 0, 0, 0},
         "p>-90 p<-60 q>0 r<0",
         "001"},
    };
    for (const auto& row : kRows) {
        expectBounds(row.label, row.base, row.bounds, kMountAngles, [](const M& angles) {
            const DirectMount* found = findDirectMount(angles);
            return std::string(found == nullptr ? "none" : found->label);
        });
        const DirectMount* found = findDirectMount(row.base);
        ASSERT_NE(found, nullptr);
        const auto& [flip, mirror, rotate] = found->settings;
        EXPECT_EQ(std::to_string(flip) + std::to_string(mirror) + std::to_string(rotate),
                  row.settings)
            << row.label;
    }
}

// Rolls that no wall test accepts: level by yz, vertical by zx.
M pitches(float p, float q, float r) {
    return {p, q, r, 0, 0, 0, 90};
}

std::string family(const M& angles) {
    const char* name = classifyInstall(angles).family;
    return name == nullptr ? "none" : name;
}

// CODE:FAMILY:LINE, without blanks.
std::string install(const M& angles) {
    const InstallFinding finding = classifyInstall(angles);
    std::string text = finding.outcome == nullptr ? "none"
                                                  : std::to_string(finding.code) + ":" +
                                                        finding.lineFamily + ":" + finding.outcome;
    std::erase(text, ' ');
    return text;
}

TEST(OrientationCases, TheFamilyIsTheFirstWhosePitchesReachSeventyDegrees) {
    expectBounds("xyz+yzx", pitches(-40, 0, -40), "p<=-30 r<=-30", kMountAngles, family);
    expectBounds("xyz+yzx", pitches(40, 50, 40), "p>=30=zyx+yzx", kMountAngles, family);
    expectBounds("zyx+yzx", pitches(0, 50, 50), "q>=20 r>=20", kMountAngles, family);
    expectBounds("zyx+yzx", pitches(10, -50, -50), "q<=-20 r>-60=xyz+yzx", kMountAngles, family);
}

TEST(OrientationCases, PitchesAreFoldedToAFullCircle) {
    constexpr struct {
        float p, q, r;
        float sum, pitch, yzxPitch;
    } kRows[] = {
        {40, 0, 50, 90, 40, 50},       // both upwards: as they are
        {-40, 0, 50, 10, 320, 130},    // sum upwards, first downwards
        {50, 0, -40, 10, 50, 320},     // sum upwards, second downwards
        {-40, 0, -50, -90, 320, 230},  // both downwards
        {-50, 0, 40, -10, 310, 140},   // sum downwards, second upwards
        {40, 0, -50, -10, 40, 310},    // sum downwards, first upwards
        {-40, 0, 40, 0, 320, 140},     // a sum of 0 counts as upwards
        {10, -50, 40, -10, 370, 140},  // the second family takes the first one's pitch here
        {10, -40, 50, 10, 320, 130},   // but not here
        {10, -40, -50, -90, 320, 230},
    };
    for (const auto& row : kRows) {
        const InstallFinding finding = classifyInstall(pitches(row.p, row.q, row.r));
        SCOPED_TRACE(testing::Message() << row.p << " " << row.q << " " << row.r);
        EXPECT_EQ(finding.pitchSum, row.sum);
        EXPECT_EQ(finding.pitch, row.pitch);
        EXPECT_EQ(finding.yzxPitch, row.yzxPitch);
    }
}

TEST(OrientationCases, MountsByQuadrantAndAtWalls) {
    // No real head has a pitch of 120; it keeps the quadrants out of the way. The second family's
    // other two quadrants have no angles: what they ask of the yzx pitch makes it the first family.
    constexpr struct {
        const char* name;
        M base;
        const char* bounds;
    } kRows[] = {
        {"1:xyz+yzx:111111", {80, 0, 5, 0, 0, 0, 90}, "p>=70 p<=110 r<=20 r>=-20"},
        {"2:xyz+yzx:22222222", {5, 0, -80, 0, 0, 0, 90}, "p<=20 p>=-20 r<=-70 r>=-110"},
        {"3:xyz+yzx:333333333", {-80, 0, -5, 0, 0, 0, 90}, "p<=-70 p>=-110 r>=-20 r<=20"},
        {"4:xyz+yzx:44444444444", {5, 0, 80, 0, 0, 0, 90}, "p<=20 p>=-20 r>=70 r<=110"},
        {"4:zyx+yzx:555555555", {0, 80, 5, 0, 0, 0, 90}, "q>=70 q<=110 r<=20 r>=-20"},
        {"2:zyx+yzx:77777777777", {0, -80, -5, 0, 0, 0, 90}, "q<=-70 q>=-110 r>=-20"},
        {"4:xyz+yzx:wallflimpingdown99999999999",
         {15, 30, 60, 90, 0, 0, 90},
         "yz>=20 yz<=160 p<=20 q>=0=2:xyz+yzx:wallflimpingupaaaaaaaaaaa"},
        {"4:zyx+yzx:wallflimpingdown99999999999", {0, 60, 20, -90, 0, 0, 90}, "yz<=-20 yz>=-160"},
        {"2:zyx+yzx:wallflimpingupaaaaaaaaaaa", {15, -60, -20, 90, 0, 0, 90}, ""},
        {"1:xyz+yzx:wallflimpingupbbbbbbbbbb", {50, 10, -50, 0, 70, 0, 30}, "xz>=70 q<=20 q>=-20"},
        {"1:xyz+yzx:wallflimpingupbbbbbbbbbb", {120, 10, -30, 0, 100, 0, 0}, "zx<=70 r<0"},
        {"1:zyx+yzx:wallflimpingupbbbbbbbbbb", {5, 12, -60, 0, 100, 0, 0}, ""},
        {"1:xyz+yzx:ceilingddddddd",
         {120, 10, 30, 0, 100, 10, 0},
         "r>0 q<=20 q>=-20 zx>=-70 xz>=100 xy>=0=3:xyz+yzx:wallflimpingdowncccccccccc"},
        // The last two outcomes name the first family in the second one too.
        {"1:xyz+yzx:ceilingddddddd", {5, 15, 58, 0, 100, 10, 0}, ""},
        {"3:xyz+yzx:wallflimpingdowncccccccccc", {5, 15, 58, 0, 100, -10, 0}, ""},
    };
    for (const auto& row : kRows) {
        expectBounds(row.name, row.base, row.bounds, kMountAngles, install);
    }
}

}  // namespace
