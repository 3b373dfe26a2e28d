// Where levelling leads: for each mount and tilt, with image rotate off and on and from both ends
// of the rotate axis, the case that the search finds, where it stops, how far the picture is then
// from upright, and how long that takes in virtual time; and the same with a sensor that is noisy
// in several ways: how often the picture comes upright, and the least and most that it is off.
// Where these differ from the row's own figure, it hangs on less than the sensor can tell. Prints a
// table and a count for each mount; takes no options.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <optional>
#include <string>
#include <vector>

namespace {

constexpr const char* kMounts[] = {"ceiling", "desktop", "wall0", "wall90", "wall180", "wall270"};
constexpr int kTilts[] = {0, 640, 1280, 1920, 2560, 3200, 4160, 5120};
constexpr int kPan = 10000;
constexpr int kTilt = 3200;
constexpr int kRotate = 533;
constexpr double kGravity = 9.80665;
// Below this part of gravity in the picture's plane there is no up to speak of.
constexpr double kLeastInPlane = 0.05;
constexpr double kUpright = 5;  // degrees
constexpr int kNoise = 10;      // counts
constexpr int kSeeds = 8;

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

void writeScript(const std::filesystem::path& path, int seed) {
    std::ofstream script(path);
    script << "run 0.1\n";
    if (seed != 0) {
        script << "fault sensor-noise " << kNoise << "\n";
    }
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
    bool flip = false;
    int rotate = 0;
    double x = 0;
    double y = 0;
};

// The picture's angle to upright in degrees, none where nothing is up: with rotate on, up is along
// the sensor's x axis instead of y, and flip turns it round.
std::optional<double> fromUpright(const Result& result, bool rotate) {
    if (std::hypot(result.x, result.y) < kLeastInPlane * kGravity) {
        return std::nullopt;
    }
    const double sign = result.flip ? -1 : 1;
    const double radians = rotate ? std::atan2(-sign * result.y, sign * result.x)
                                  : std::atan2(sign * result.x, sign * result.y);
    return std::abs(radians) * 180 / std::numbers::pi;
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

// Levels a camera with that mount in every way, with the sensor noisy by that seed; 0: not noisy.
// A result for each row; fewer if the simulated head did not do all of it.
std::vector<Result> measure(const std::string& mount, int seed,
                            const std::filesystem::path& directory) {
    const std::string run = directory / (mount + std::to_string(seed));
    makeCamera(run);
    writeScript(run + ".txt", seed);
    FILE* const twin =
        popen((KESTREL_TWIN_PATH " --clock virtual --trace --mount " + mount + " --seed " +
               std::to_string(seed) + " --state " + run + " <" + run + ".txt")
                  .c_str(),
              "r");
    std::vector<Result> results;
    if (twin == nullptr) {
        return results;
    }
    Result result;
    char line[1024];
    while (std::fgets(line, sizeof line, twin) != nullptr) {
        if (std::strncmp(line, "= {", 3) == 0) {
            takeHead(line, result);
        } else if (std::strncmp(line, "= image.camN.flip ", 18) == 0) {
            result.flip = std::strcmp(line + 18, "on\n") == 0;
            results.push_back(result);
        } else {
            takeEvent(line, result);
        }
    }
    if (pclose(twin) != 0) {
        results.clear();
    }
    return results;
}

// What became of one row with each seed.
struct Noisy {
    int upright = 0;
    double least = 180;
    double most = 0;
};

void printRow(const char* mount, std::size_t index, const Result& result, const Noisy& noisy) {
    const Search& search = kSearches[index % std::size(kSearches)];
    std::printf("%-8s %5d  %-4s %-6s %-11s %-4s %6d", mount, kTilts[index / std::size(kSearches)],
                search.rotate ? "on" : "off", search.from, result.marker,
                result.flip ? "on" : "off", result.rotate);
    if (const std::optional<double> degrees = fromUpright(result, search.rotate)) {
        std::printf("  %8.1f  %8.3f  %4d of %d  %6.1f %6.1f\n", *degrees,
                    result.ended - result.began, noisy.upright, kSeeds, noisy.least, noisy.most);
    } else {
        std::printf("  %8s  %8.3f\n", "-", result.ended - result.began);
    }
}

// Measures and prints the rows of a mount. False if the simulated head did not do all of it.
bool printMount(const char* mount, const std::filesystem::path& directory) {
    constexpr std::size_t kRows = std::size(kTilts) * std::size(kSearches);
    std::vector<std::vector<Result>> runs;
    for (int seed = 0; seed <= kSeeds; ++seed) {
        runs.push_back(measure(mount, seed, directory));
        if (runs.back().size() != kRows) {
            return false;
        }
    }
    int tilted = 0;
    int upsideDown = 0;
    for (std::size_t row = 0; row < kRows; ++row) {
        const bool rotate = kSearches[row % std::size(kSearches)].rotate;
        Noisy noisy;
        for (int seed = 1; seed <= kSeeds; ++seed) {
            const double degrees =
                fromUpright(runs[static_cast<std::size_t>(seed)][row], rotate).value_or(0);
            noisy.upright += degrees <= kUpright ? 1 : 0;
            noisy.least = std::min(noisy.least, degrees);
            noisy.most = std::max(noisy.most, degrees);
        }
        const double degrees = fromUpright(runs[0][row], rotate).value_or(0);
        tilted += degrees > kUpright ? 1 : 0;
        upsideDown += degrees > 180 - kUpright ? 1 : 0;
        printRow(mount, row, runs[0][row], noisy);
    }
    std::printf("%-8s %d of %zu rows more than %.0f degrees from upright, %d of them upside down\n",
                mount, tilted, kRows, kUpright, upsideDown);
    return true;
}

}  // namespace

int main() {
    std::string directory = std::filesystem::temp_directory_path() / "kestrel-levelling-XXXXXX";
    if (mkdtemp(directory.data()) == nullptr) {
        std::perror(directory.c_str());
        return 1;
    }
    std::printf("%67s  noise of %d counts, %d seeds\n", "", kNoise, kSeeds);
    std::puts(
        "mount     tilt  rotate from case       flip   steps  from up   seconds   upright   least  "
        " "
        "most");
    bool complete = true;
    for (const char* const mount : kMounts) {
        complete = printMount(mount, directory) && complete;
    }
    std::filesystem::remove_all(directory);
    return complete ? 0 : 1;
}
