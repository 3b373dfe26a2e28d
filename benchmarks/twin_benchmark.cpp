// How fast, how small and how prompt the daemon is on the simulated head, each figure beside one
// that was measured in the same run with the same tools. Prints a table; progress goes to standard
// error; takes no options. Everything measured runs in processes of its own.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

namespace {

using Words = std::vector<std::string>;

[[noreturn]] void giveUp(const std::string& problem) {
    std::fprintf(stderr, "twin_benchmark: %s\n", problem.c_str());
    std::exit(1);
}

double steadySeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// A program under way, and the ends of its standard input and output.
struct Process {
    pid_t id = 0;
    FILE* input = nullptr;
    FILE* output = nullptr;
};

Process start(const Words& words) {
    std::vector<char*> argv;
    for (const std::string& word : words) {
        argv.push_back(const_cast<char*>(word.c_str()));
    }
    argv.push_back(nullptr);
    std::array<int, 2> input{};
    std::array<int, 2> output{};
    if (pipe2(input.data(), O_CLOEXEC) != 0 || pipe2(output.data(), O_CLOEXEC) != 0) {
        giveUp("no pipe");
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    Process process;
    if (posix_spawn(&process.id, argv[0], &actions, nullptr, argv.data(), environ) != 0) {
        giveUp(words[0] + " does not start");
    }
    posix_spawn_file_actions_destroy(&actions);
    close(input[0]);
    close(output[1]);
    process.input = fdopen(input[1], "w");
    process.output = fdopen(output[0], "r");
    return process;
}

// Ends the process's input and waits for its end. The lines that it printed.
Words finish(const Process& process) {
    std::fclose(process.input);
    Words lines;
    std::array<char, 1024> line{};
    while (std::fgets(line.data(), line.size(), process.output) != nullptr) {
        lines.emplace_back(line.data());
    }
    std::fclose(process.output);
    int status = 0;
    if (waitpid(process.id, &status, 0) != process.id || status != 0) {
        giveUp("a program that is measured failed");
    }
    return lines;
}

Words run(const Words& words, const std::string& commands = {}) {
    const Process process = start(words);
    std::fputs(commands.c_str(), process.input);
    return finish(process);
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

std::vector<double> repeat(int times, const std::function<double()>& measure) {
    std::vector<double> values;
    for (int i = 0; i < times; ++i) {
        values.push_back(measure());
    }
    return values;
}

// The best of several, which other programs of the machine disturb least.
double most(const std::vector<double>& values) {
    return *std::max_element(values.begin(), values.end());
}
double least(const std::vector<double>& values) {
    return *std::min_element(values.begin(), values.end());
}

// A part's numbers, one a line, at least one.
std::vector<double> part(Words words, const std::string& commands = {}) {
    words.insert(words.begin(), KESTREL_PARTS_PATH);
    std::vector<double> numbers;
    for (const std::string& line : run(words, commands)) {
        numbers.push_back(std::atof(line.c_str()));
    }
    if (numbers.empty()) {
        giveUp("a part printed nothing");
    }
    return numbers;
}

// The twin on a camera that has been homed, so that it is idle once it has started.
Words twin(const Words& options) {
    static const std::string camera = [] {
        std::string path = std::filesystem::temp_directory_path() / "kestrel-benchmark-XXXXXX";
        if (mkdtemp(path.data()) == nullptr) {
            giveUp("no temporary directory");
        }
        run({KESTREL_TWIN_PATH, "--quiet", "--clock", "virtual", "--state", path}, "run 30\n");
        return path;
    }();
    Words words = {KESTREL_TWIN_PATH, "--state", camera, "--clock"};
    words.insert(words.end(), options.begin(), options.end());
    return words;
}

void removeCamera() {
    std::filesystem::remove_all(twin({})[2]);
}

// One row: a figure, what it is compared to, and how many times as much it is.
void row(const char* what, double figure, const char* unit, const char* other, double otherFigure) {
    std::printf("%-44s %11.2f %-7s  %-36s %11.2f  %8.2f\n", what, figure, unit, other, otherFigure,
                figure / otherFigure);
    std::fflush(stdout);
}

void progress(const char* text) {
    std::fprintf(stderr, "%s ...\n", text);
}

constexpr int kRates = 7;

// Virtual seconds per wall second, the process's start included.
double rate(const Words& program, const std::string& commands, double seconds) {
    return most(repeat(kRates, [&] {
        const double begin = steadySeconds();
        run(program, commands);
        return seconds / (steadySeconds() - begin);
    }));
}

constexpr int kMoves = 600;
constexpr int kMovingSeconds = kMoves + 30;

// A homing, and then one move of three axes a second.
std::string moves() {
    std::string commands = "run 30\n";
    for (int i = 0; i < kMoves; ++i) {
        const bool up = i % 2 == 0;
        commands += std::string("set lens.camN.pan a:") + (up ? "24000" : "20000") +
                    "\nset lens.camN.tilt a:" + (up ? "3000" : "3500") +
                    "\nset lens.camN.zoom a:" + (up ? "2000" : "0") + "\nrun 1\n";
    }
    return commands;
}

std::size_t bytesOf(const Words& lines) {
    return std::accumulate(
        lines.begin(), lines.end(), std::size_t{0},
        [](std::size_t bytes, const std::string& line) { return bytes + line.size(); });
}

void measureRecording() {
    progress("recordings");
    const Words plain = {KESTREL_TWIN_PATH, "--clock", "virtual"};
    const Words recording = {KESTREL_TWIN_PATH, "--clock", "virtual", "--trace"};
    const std::string file =
        std::filesystem::temp_directory_path() / ("kestrel-recording-" + std::to_string(getpid()));
    const Words lines = run(recording, moves());
    std::ofstream stream(file);
    std::copy(lines.begin(), lines.end(), std::ostream_iterator<std::string>(stream));
    stream.close();
    const double recorded = rate(recording, moves(), kMovingSeconds);
    row("moving, recorded", recorded, "s", "moving, the daemon's lines printed",
        rate(plain, moves(), kMovingSeconds));
    row("the recording replayed", rate({KESTREL_TWIN_PATH, "--replay", file}, {}, kMovingSeconds),
        "s", "moving, recorded", recorded);
    const double hours = kMovingSeconds / 3600.0;
    row("recording of an hour of moves", static_cast<double>(bytesOf(lines)) / 1e6 / hours, "MB",
        "the daemon's lines", static_cast<double>(bytesOf(run(plain, moves()))) / 1e6 / hours);
    std::filesystem::remove(file);
}

void measureVirtualTime() {
    progress("virtual time");
    const double loops = most(repeat(kRates, [] {
        return 3600 / part({"loops-virtual", "3600"})[0];
    }));
    const Words kept = twin({"virtual", "--quiet"});
    const double idle = rate(kept, "run 3600\n", 3600);
    const double inMemory =
        rate({KESTREL_TWIN_PATH, "--clock", "virtual", "--quiet"}, moves(), kMovingSeconds);
    const double onDisk = rate(kept, moves(), kMovingSeconds);
    row("virtual seconds in a second, idle", idle, "s", "two bare 10 ms loops, virtual clock",
        loops);
    row("the same, moving, camera in memory", inMemory, "s", "idle", idle);
    row("the same, moving, camera on disk", onDisk, "s", "moving, camera in memory", inMemory);
}

double cpuSeconds(const Process& process) {
    clockid_t clock = 0;
    timespec time{};
    if (clock_getcpuclockid(process.id, &clock) != 0 || clock_gettime(clock, &time) != 0) {
        giveUp("no processor time");
    }
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

// Resident memory in MiB.
double memory(const Process& process) {
    std::ifstream file("/proc/" + std::to_string(process.id) + "/statm");
    double total = 0;
    double resident = 0;
    file >> total >> resident;
    return resident * static_cast<double>(sysconf(_SC_PAGESIZE)) / (1024 * 1024);
}

void measureIdleDaemon() {
    constexpr int kSeconds = 10;
    progress("the idle daemon in real time, 12 s");
    const Process daemon = start(twin({"real", "--quiet"}));
    const Process loops = start({KESTREL_PARTS_PATH, "loops"});
    std::fputs("run 12\n", daemon.input);
    std::fflush(daemon.input);
    std::this_thread::sleep_for(std::chrono::seconds(1));
    const double daemonBegin = cpuSeconds(daemon);
    const double loopsBegin = cpuSeconds(loops);
    std::this_thread::sleep_for(std::chrono::seconds(kSeconds));
    const double daemonCpu = (cpuSeconds(daemon) - daemonBegin) / kSeconds;
    const double loopsCpu = (cpuSeconds(loops) - loopsBegin) / kSeconds;
    const double daemonMemory = memory(daemon);
    const double loopsMemory = memory(loops);
    finish(daemon);
    finish(loops);
    row("processor, idle, real time", daemonCpu * 100, "%", "two bare 10 ms loops", loopsCpu * 100);
    row("memory, idle", daemonMemory, "MiB", "two bare 10 ms loops", loopsMemory);
}

// Milliseconds from the start of a process to the time that it prints.
double startTime(const char* name, const char* commands) {
    return median(repeat(15, [&] {
        const double begin = steadySeconds();
        return (part({name}, commands)[0] - begin) * 1000;
    }));
}

void measureStart() {
    progress("start");
    row("from start to the last registered key", startTime("start", "run 60\n"), "ms",
        "start of a program that does nothing", startTime("nothing", ""));
}

// Milliseconds of the clock from each set to the motor order that it leads to. After an even number
// of moves the zoom is where it was, and the next run's first set orders something, too.
std::vector<double> orderTimes(const Words& options, int moves) {
    std::string commands = "run 1\n";
    for (int i = 0; i < moves; ++i) {
        commands += std::string("set lens.camN.zoom a:") + (i % 2 == 0 ? "1200" : "1000") +
                    "\nrun 0.3013\n";
    }
    commands += "quit\n";
    std::vector<double> times;
    double set = -1;
    for (const std::string& line : run(twin(options), commands)) {
        const double time = std::atof(line.c_str());
        if (line.find(" cmd lens.camN.zoom ") != std::string::npos) {
            set = time;
        } else if (set >= 0 && line.find(" mcu setZoom8") != std::string::npos) {
            times.push_back((time - set) * 1000);
            set = -1;
        }
    }
    if (times.size() != static_cast<std::size_t>(moves)) {
        giveUp("a set led to no motor order");
    }
    return times;
}

double orderTime(const char* clock, int moves) {
    return median(orderTimes({clock, "--trace"}, moves));
}

int freePort() {
    const int probe = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (bind(probe, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        getsockname(probe, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        giveUp("no free port");
    }
    close(probe);
    return ntohs(address.sin_port);
}

// Reads the page's events to their end; the number of bytes.
std::size_t readEvents(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int connection = -1;
    for (bool connected = false; !connected;) {
        connection = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        connected = connect(connection, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
        if (!connected) {
            close(connection);
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    const std::string request = "GET /events HTTP/1.0\r\nHost: localhost\r\n\r\n";
    std::size_t bytes = 0;
    if (write(connection, request.data(), request.size()) > 0) {
        std::array<char, 65536> part{};
        for (ssize_t count = 0; (count = read(connection, part.data(), part.size())) > 0;) {
            bytes += static_cast<std::size_t>(count);
        }
    }
    close(connection);
    return bytes;
}

// The 99th of 100 in their order.
double nearWorst(std::vector<double> times) {
    std::sort(times.begin(), times.end());
    return times[times.size() * 99 / 100 - 1];
}

void measurePage() {
    progress("from set to motor order with the page, 1 min");
    const int port = freePort();
    std::size_t bytes = 0;
    std::thread reader([&] { bytes = readEvents(port); });
    const double with =
        nearWorst(orderTimes({"real", "--trace", "--page", std::to_string(port)}, 100));
    reader.join();
    if (bytes == 0) {
        giveUp("the page sent no events");
    }
    row("the same, 99th of 100, events being read", with, "ms", "without the page",
        nearWorst(orderTimes({"real", "--trace"}, 100)));
}

void measureOrders() {
    progress("from set to motor order, 10 s");
    constexpr const char* kOther = "a flag through two bare 10 ms loops";
    row("from bus set to motor order, virtual time", orderTime("virtual", 100), "ms", kOther,
        median(part({"handover", "virtual", "100"})) / 1000);
    row("from bus set to motor order, wall time", orderTime("real", 26), "ms", kOther,
        median(part({"handover", "real", "26"})) / 1000);
}

void measureBus() {
    progress("the bus");
    const auto set = [](int keys, int listeners) {
        return least(repeat(3, [&] {
            return part({"bus", std::to_string(keys), std::to_string(listeners)})[0];
        }));
    };
    constexpr const char* kOther = "40 keys, 40 listeners";
    const double base = set(40, 40);
    row("bus set and delivery, 400 keys", set(400, 40), "us", kOther, base);
    row("bus set and delivery, 4000 keys", set(4000, 40), "us", kOther, base);
    row("bus set and delivery, 400 listeners", set(40, 400), "us", kOther, base);
    row("bus set and delivery, 4000 listeners", set(40, 4000), "us", kOther, base);
}

}  // namespace

int main() {
    std::printf("%-44s %11s %-7s  %-36s %11s  %8s\n", "what", "measured", "unit", "compared to",
                "measured", "times");
    measureVirtualTime();
    measureRecording();
    measureIdleDaemon();
    measureStart();
    measureOrders();
    measurePage();
    measureBus();
    removeCamera();
    return 0;
}
