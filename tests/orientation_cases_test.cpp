// The case tables of levelling and mount detection at their bounds.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "orientation/auto_search.h"
#include "orientation/install_detection.h"
#include "orientation/rotate_mode.h"
#include "paths.h"
#include "session.h"

namespace {

using Angles = std::vector<float>;

struct Found {
    std::string name = "none";
    std::string settings = "-";
};

Attitude attitudeOf(const Angles& a) {
    return {a[0], a[1], a[2]};
}

MountAngles mountOf(const Angles& a) {
    return {a[0], a[1], a[2], a[3], a[4], a[5], a[6]};
}

template <int Mode>
Found search(const Angles& angles) {
    const SearchCase* const found = findSearchCase(Mode, attitudeOf(angles));
    if (found == nullptr) {
        return {};
    }
    return {found->marker, std::string(found->flipAndMirror ? "on" : "off") +
                               (found->servo == RotateToYaw ? ",yaw," : ",pitch,") +
                               std::to_string(static_cast<int>(found->targetAngle))};
}

Found turn(const Angles& angles) {
    const TurnCase* const found = findTurnCase(attitudeOf(angles));
    if (found == nullptr) {
        return {};
    }
    return {found->marker, (found->flipAndMirror ? "on," : "off,") + std::to_string(found->rotate)};
}

Found rest(const Angles& angles) {
    return {isResting(attitudeOf(angles)) ? "rest" : "none"};
}

Found direct(const Angles& angles) {
    const DirectMount* const found = findDirectMount(mountOf(angles));
    if (found == nullptr) {
        return {};
    }
    const auto& [flip, mirror, rotate] = found->settings;
    return {found->label,
            std::to_string(flip) + "," + std::to_string(mirror) + "," + std::to_string(rotate)};
}

Found family(const Angles& angles) {
    const char* const name = classifyInstall(mountOf(angles)).family;
    return {name == nullptr ? "none" : name};
}

Found install(const Angles& angles) {
    const InstallFinding finding = classifyInstall(mountOf(angles));
    return {finding.outcome == nullptr
                ? "none"
                : std::to_string(finding.code) + ":" + finding.lineFamily + ":" + finding.outcome};
}

const std::multimap<std::string, Found (*)(const Angles&)> kTables = {
    {"search0", search<0>},  {"search1", search<1>}, {"search1", search<2>},
    {"search1", search<-1>}, {"turn", turn},         {"rest", rest},
    {"direct", direct},      {"family", family},     {"install", install},
};

std::string nameOf(const Found& found) {
    std::string name = found.name;
    std::replace(name.begin(), name.end(), ' ', '_');
    return name;
}

void expectBound(Found (*find)(const Angles&), const std::string& name, const Angles& example,
                 const std::string& text) {
    char angle[4] = {};
    char side = 0;
    float bound = 0;
    const bool closed = std::sscanf(text.c_str(), "%3[^<>]%c=%f", angle, &side, &bound) == 3;
    ASSERT_TRUE(closed || std::sscanf(text.c_str(), "%3[^<>]%c%f", angle, &side, &bound) == 3);
    const std::vector<std::string> names =
        example.size() == 3 ? std::vector<std::string>{"P", "Y", "R"}
                            : std::vector<std::string>{"p", "q", "r", "yz", "xz", "xy", "zx"};
    const auto index = std::find(names.begin(), names.end(), angle) - names.begin();
    const std::size_t beyond = text.find('=', closed ? text.find('=') + 1 : 0);
    const float outwards = side == '<' ? 0.001F : -0.001F;
    Angles angles = example;
    float& value = angles.at(static_cast<std::size_t>(index));
    value = closed ? bound : bound - outwards;
    EXPECT_EQ(nameOf(find(angles)), name) << "inside " << text;
    value = closed ? bound + outwards : bound;
    EXPECT_EQ(nameOf(find(angles)), beyond == std::string::npos ? "none" : text.substr(beyond + 1))
        << "beyond " << text;
}

// The file says what its rows mean.
TEST(OrientationCases, HoldUpToTheirBounds) {
    int rows = 0;
    for (const std::string& line : linesOf(readSource("tests/data/orientation-cases.txt"))) {
        std::istringstream row(line);
        std::string table, name, example, settings;
        if (line.starts_with("#") || !(row >> table >> name >> example >> settings)) {
            continue;
        }
        ++rows;
        SCOPED_TRACE(line);
        std::replace(example.begin(), example.end(), ',', ' ');
        std::istringstream numbers(example);
        const Angles angles(std::istream_iterator<float>(numbers), {});
        const std::vector<std::string> bounds(std::istream_iterator<std::string>(row), {});
        const auto [begin, end] = kTables.equal_range(table);
        ASSERT_NE(begin, end);
        for (auto each = begin; each != end; ++each) {
            EXPECT_EQ(nameOf(each->second(angles)), name);
            EXPECT_EQ(each->second(angles).settings, settings);
            for (const std::string& bound : bounds) {
                expectBound(each->second, name, angles, bound);
            }
        }
    }
    EXPECT_GT(rows, 50);
}

TEST(OrientationCases, PitchesAreFoldedToAFullCircle) {
    constexpr struct {
        float p, q, r;
        float sum, pitch, yzxPitch;
    } kRows[] = {
        {40, 0, 50, 90, 40, 50},        // both upwards: as they are
        {-40, 0, 50, 10, 320, 130},     // sum upwards, first downwards
        {50, 0, -40, 10, 50, 320},      // sum upwards, second downwards
        {-40, 0, -50, -90, 320, 230},   // both downwards
        {-50, 0, 40, -10, 310, 140},    // sum downwards, second upwards
        {40, 0, -50, -10, 40, 310},     // sum downwards, first upwards
        {-40, 0, 40, 0, 320, 140},      // a sum of 0 counts as upwards
        {10, -50, 40, -10, 370, 140},   // the second family takes the first one's pitch here
        {10, -40, 50, 10, 320, 130},    // but not here
        {10, -40, -50, -90, 320, 230},  // nor here
        {80, 0, 0, 80, 80, 0},          // a pitch of 0 counts as upwards: the yzx pitch
        {0, 0, 80, 80, 0, 80},          // the first one
        {0, 0, -80, -80, 0, 280},       // also where the sum is downwards
        {10, -80, 0, -80, 370, 180},    // the second family's
    };
    for (const auto& row : kRows) {
        const InstallFinding finding = classifyInstall({row.p, row.q, row.r, 0, 0, 0, 90});
        SCOPED_TRACE(testing::Message() << row.p << " " << row.q << " " << row.r);
        EXPECT_EQ(finding.pitchSum, row.sum);
        EXPECT_EQ(finding.pitch, row.pitch);
        EXPECT_EQ(finding.yzxPitch, row.yzxPitch);
    }
}

}  // namespace
