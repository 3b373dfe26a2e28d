// Where levelling leads: for each mount and tilt, with image rotate off and on and from both ends
// of the rotate axis, the case that the search finds, where it stops, how far the picture is then
// from upright, and how long that takes in virtual time. Prints a table; takes no options.
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <string>

namespace {

constexpr const char* kMounts[] = {"ceiling", "desktop", "wall0", "wall90", "wall180", "wall270"};
constexpr int kTilts[] = {0, 640, 1280, 1920, 2560, 3200, 4160, 5120};
constexpr int kPan = 10000;
constexpr int kTilt = 3200;
constexpr int kRotate = 533;
constexpr double kGravity = 9.80665;
// Below this part of gravity in the picture's plane there is no up to speak of.
constexpr double kLeastInPlane = 0.05;

// One search: what starts it, and what that makes of it.
struct Search {
    const char* start;  // console commands
    bool rotate;
    const char* from;
};

// A changed image rotate searches from the end that its mode prescribes, a repeated search from the
// nearer one.
constexpr Search kSearches[] = {
    {"set image.camN.rotate on\n", true, "upper"},
    {"set lens.camN.rotate a:0\nwait lens.camN.rotatestatus stop\nset lens.camN.rotate auto\n",
     true, "lower"},
    {"set image.camN.rotate off\n", false, "lower"},
    {"set lens.camN.rotate a:10666\nwait lens.camN.rotatestatus stop\nset lens.camN.rotate auto\n",
     false, "upper"},
};

// A camera that stands at the positions above and knows it.
void makeCamera(const std::filesystem::path& state) {
    std::filesystem::create_directories(state / "root/mnt/nand");
    std::ofstream(state / "head") << "pan.position " << kPan << "\ntilt.position " << kTilt
                                  << "\nrotate.position " << kRotate << "\n";
    std::array<std::int32_t, 30> words{};
    words[16] = kPan;
    words[17] = kTilt;
    words[18] = kRotate;
    std::ofstream(state / "root/mnt/nand/Pos.bin", std::ios::binary)
        .write(reinterpret_cast<const char*>(words.data()), sizeof words);
}

void writeScript(const std::filesystem::path& path) {
    std::ofstream script(path);
    script << "run 0.1\n";
    for (const int tilt : kTilts) {
        script << "set lens.camN.tilt a:" << tilt << "\nwait lens.camN.tiltstatus stop\n";
        for (const Search& search : kSearches) {
            script << search.start << "wait lens.camN.rotatestatus stop 120\nhead\n"
                   << "get image.camN.flip\n";
        }
    }
}

struct Result {
    double began = 0;
    double ended = 0;
    char marker[16] = "-";
    int rotate = 0;
    double x = 0;
    double y = 0;
};

// The picture's angle to upright: with rotate on, up is along the sensor's x axis instead of y, and
// flip and mirror turn it round.
std::string degreesFromUpright(const Result& result, bool flip, bool rotate) {
    if (std::hypot(result.x, result.y) < kLeastInPlane * kGravity) {
        return "-";
    }
    const double sign = flip ? -1 : 1;
    const double radians = rotate ? std::atan2(-sign * result.y, sign * result.x)
                                  : std::atan2(sign * result.x, sign * result.y);
    char text[16];
    std::snprintf(text, sizeof text, "%.1f", std::abs(radians) * 180 / std::numbers::pi);
    return text;
}

void takeHead(const char* line, Result& result) {
    const char* const rotate = std::strstr(line, "\"rotate\":");
    const char* const gravity = std::strstr(line, "\"gravity\":");
    if (rotate != nullptr && gravity != nullptr) {
        std::sscanf(rotate, "\"rotate\":{\"position\":%d", &result.rotate);
        std::sscanf(gravity, "\"gravity\":[%lf,%lf", &result.x, &result.y);
    }
}

// A line of the trace.
void takeEvent(const char* line, Result& result) {
    double time = 0;
    int text = 0;
    if (std::sscanf(line, "%lf %n", &time, &text) != 1) {
        return;
    }
    const char* const event = line + text;
    char digits[16];
    char rest = 0;
    if (std::strncmp(event, "log in AutoSearch", 17) == 0) {
        result = Result{};
        result.began = time;
    } else if (std::strncmp(event, "bus lens.camN.rotatestatus stop", 31) == 0) {
        result.ended = time;
    } else if (std::sscanf(event, "log %15[0-9]%c", digits, &rest) == 2 && rest == '\n') {
        std::strcpy(result.marker, digits);
    }
}

void printRow(const char* mount, std::size_t index, const Result& result, bool flip) {
    const Search& search = kSearches[index % std::size(kSearches)];
    std::printf("%-8s %5d  %-4s %-6s %-11s %-4s %6d  %8s  %8.3f\n", mount,
                kTilts[index / std::size(kSearches) % std::size(kTilts)],
                search.rotate ? "on" : "off", search.from, result.marker, flip ? "on" : "off",
                result.rotate, degreesFromUpright(result, flip, search.rotate).c_str(),
                result.ended - result.began);
}

// Levels a camera with that mount in every way. False if the simulated head did not do all of it.
bool measure(const std::string& mount, const std::filesystem::path& directory) {
    const std::string state = directory / mount;
    const std::string script = directory / (mount + ".txt");
    makeCamera(state);
    writeScript(script);
    FILE* const twin = popen((KESTREL_TWIN_PATH " --clock virtual --trace --mount " + mount +
                              " --state " + state + " <" + script)
                                 .c_str(),
                             "r");
    if (twin == nullptr) {
        return false;
    }
    std::size_t rows = 0;
    Result result;
    char line[1024];
    while (std::fgets(line, sizeof line, twin) != nullptr) {
        if (std::strncmp(line, "= {", 3) == 0) {
            takeHead(line, result);
        } else if (std::strncmp(line, "= image.camN.flip ", 18) == 0) {
            printRow(mount.c_str(), rows++, result, std::strcmp(line + 18, "on\n") == 0);
        } else {
            takeEvent(line, result);
        }
    }
    return pclose(twin) == 0 && rows == std::size(kTilts) * std::size(kSearches);
}

}  // namespace

int main() {
    std::string directory = std::filesystem::temp_directory_path() / "kestrel-levelling-XXXXXX";
    if (mkdtemp(directory.data()) == nullptr) {
        std::perror(directory.c_str());
        return 1;
    }
    std::puts("mount     tilt  rotate from case       flip   steps  from up  seconds");
    bool complete = true;
    for (const char* const mount : kMounts) {
        complete = measure(mount, directory) && complete;
    }
    std::filesystem::remove_all(directory);
    return complete ? 0 : 1;
}
