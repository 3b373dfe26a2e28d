// What the bus on MQTT costs: from a set to the motor's order beside the same from the console,
// sets a second beside the broker's plain relay, and fleets of heads on one machine. Prints a
// table; progress goes to standard error; takes no options.
#include <mosquitto.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <deque>
#include <fstream>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/broker.h"

namespace {

using Clock = std::chrono::steady_clock;
using Times = std::vector<double>;

constexpr const char* kZoom = "lens/camN/zoom";

double millisecondsSince(Clock::time_point begin) {
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

// The smallest of the times that a part of them, at least, does not pass.
double quantile(Times times, double part) {
    std::sort(times.begin(), times.end());
    const auto count = static_cast<double>(times.size());
    return times[std::min(times.size() - 1, static_cast<std::size_t>(part * count))];
}

void row(const std::string& what, double figure, const char* unit, const char* other,
         double otherFigure) {
    std::printf("%-44s %11.2f %-7s  %-36s %11.2f  %8.2f\n", what.c_str(), figure, unit, other,
                otherFigure, figure / otherFigure);
    std::fflush(stdout);
}

void rows(const std::string& what, const Times& times, const char* other, const Times& otherTimes) {
    const struct {
        const char* name;
        double part;
    } kinds[] = {{", median", 0.5}, {", 99 of 100", 0.99}, {", worst", 1}};
    for (const auto& kind : kinds) {
        row(what + kind.name, quantile(times, kind.part), "ms", other,
            quantile(otherTimes, kind.part));
    }
}

void progress(const std::string& text) {
    std::fprintf(stderr, "%s ...\n", text.c_str());
}

// So much time that the daemon's loops are anywhere in their passes afterwards.
void pause() {
    static std::minstd_rand random;
    std::this_thread::sleep_for(std::chrono::microseconds(350'000 + random() % 20'000));
}

struct SetTimes {
    Times bus;    // until the bus has it
    Times order;  // until the motor has its order
};

// One move: the zoom goes on to `target`, 1000 or 1200, by what `set` does.
void timeMove(Head& head, const std::string& word, const std::function<void()>& set,
              SetTimes& times) {
    const Clock::time_point begin = Clock::now();
    set();
    head.process.readTo("cmd lens.camN.zoom " + word + "\n");
    times.bus.push_back(millisecondsSince(begin));
    head.process.readTo("mcu setZoom8");
    times.order.push_back(millisecondsSince(begin));
    pause();
}

void measureOrders() {
    constexpr int kMoves = 100;
    progress("from set to motor order, 80 s");
    Broker broker;
    broker.start();
    Head head(broker, {"--speed", "1"});
    Client client(broker, "kestrel/cam7/state");
    client.readTo("kestrel/cam7/state online");
    SetTimes console;
    SetTimes mqtt;
    for (int i = 0; i < kMoves; ++i) {
        timeMove(
            head, "a:1200", [&] { head.process.write("set lens.camN.zoom a:1200\n"); }, console);
        timeMove(
            head, "a:1000",
            [&] { client.send("kestrel/cam7/set/" + std::string(kZoom), "a:1000", {}); }, mqtt);
    }
    rows("from MQTT set to motor order", mqtt.order, "from console set to motor order",
         console.order);
    rows("from MQTT set to the bus", mqtt.bus, "from console set to the bus", console.bus);
}

// How many sets a second come through when as many as possible are sent at once.
void measureSets() {
    constexpr int kSets = 20'000;
    const std::string last = std::to_string(kSets);
    progress("sets a second");
    Broker broker;
    broker.start();
    Client publisher(broker, "nothing");
    const auto flood = [&](Client& hearer, const std::string& topic, const std::string& end) {
        const Clock::time_point begin = Clock::now();
        std::thread publishing([&] { publisher.flood(topic, kSets); });
        hearer.readTo(end + " " + last);
        const double rate = kSets / millisecondsSince(begin) * 1000;
        publishing.join();
        return rate;
    };
    Client bare(broker, "bare/number");
    const double bareRate = flood(bare, "bare/number", "bare/number");
    Head head(broker, {"--speed", "1"});
    Client watcher(broker, "kestrel/cam7/#");
    watcher.readTo("kestrel/cam7/state online");
    const double rate =
        flood(watcher, "kestrel/cam7/set/lens/test/number", "kestrel/cam7/bus/lens/test/number");
    row("sets a second, and each told back", rate, "/s", "bare publisher and subscriber", bareRate);
    const auto carriedOut = head.setsOf("lens.test.number");
    row("of 20,000 sets carried out", static_cast<double>(carriedOut.size()), "", "sent", kSets);
}

// Heads of names from cam1 on, as script/fleet starts them, on cameras that are homed.
class Fleet {
public:
    Fleet(const Broker& broker, int count) : everything_(broker, "kestrel/#") {
        for (int i = 1; i <= count; ++i) {
            const Camera& camera = cameras_.emplace_back(Positions{});
            names.push_back("cam" + std::to_string(i));
            heads_.emplace_back(std::vector<std::string>{
                KESTREL_TWIN_PATH, "--clock", "real", "--quiet", "--state", camera.pathOf("/.."),
                "--mqtt", "mqtt://127.0.0.1:" + std::to_string(broker.port), "--name",
                names.back()});
        }
        for (const std::string& name : names) {
            Client(broker, "kestrel/" + name + "/state")
                .readTo("kestrel/" + name + "/state online");
        }
    }

    double cpuSeconds() const {
        double sum = 0;
        for (const Process& head : heads_) {
            sum += cpuSecondsOf(head);
        }
        return sum;
    }
    static double cpuSecondsOf(const Process& process) {
        clockid_t clock = 0;
        timespec time{};
        clock_getcpuclockid(process.id(), &clock);
        clock_gettime(clock, &time);
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
    }
    // Resident memory of a head, in MiB.
    double memory() const {
        double pages = 0;
        for (const Process& head : heads_) {
            double total = 0;
            double resident = 0;
            std::ifstream file("/proc/" + std::to_string(head.id()) + "/statm");
            file >> total >> resident;
            pages += resident;
        }
        return pages * static_cast<double>(sysconf(_SC_PAGESIZE)) / (1024 * 1024) /
               static_cast<double>(heads_.size());
    }
    // What the broker has relayed of all heads since the start.
    std::size_t messages() {
        return everything_.received().size();
    }

    std::vector<std::string> names;

private:
    Client everything_;
    std::deque<Camera> cameras_;
    std::deque<Process> heads_;
};

constexpr std::chrono::seconds kIdling{10};

// A head's and the broker's share of a processor, in percent, and a head's messages in a minute.
struct Load {
    double head;
    double broker;
    double messages;
};

Load measureLoad(Broker& broker, Fleet& fleet) {
    const auto count = static_cast<double>(fleet.names.size());
    const auto seconds = static_cast<double>(kIdling.count());
    const double heads = fleet.cpuSeconds();
    const double brokers = Fleet::cpuSecondsOf(broker.process());
    const std::size_t messages = fleet.messages();
    std::this_thread::sleep_for(kIdling);
    return {(fleet.cpuSeconds() - heads) / seconds * 100 / count,
            (Fleet::cpuSecondsOf(broker.process()) - brokers) / seconds * 100,
            static_cast<double>(fleet.messages() - messages) / seconds * 60 / count};
}

// From a set for one head after the other until it tells that it moves.
Times orderTimes(const Broker& broker, const Fleet& fleet) {
    // An even number for each head: afterwards it stands where it stood.
    constexpr std::size_t kMoves = 200;
    Client client(broker, "kestrel/+/bus/lens/camN/zoomstatus");
    Times times;
    for (std::size_t i = 0; i < kMoves; ++i) {
        const std::string head = "kestrel/" + fleet.names[i % fleet.names.size()];
        const bool back = i / fleet.names.size() % 2 == 1;
        const Clock::time_point begin = Clock::now();
        client.send(head + "/set/" + kZoom, back ? "a:1000" : "a:1200", {});
        client.readTo(head + "/bus/lens/camN/zoomstatus run");
        times.push_back(millisecondsSince(begin));
        client.readTo(head + "/bus/lens/camN/zoomstatus stop");
    }
    return times;
}

// Keeps every head's pan on its way, there and back, until the end of its life.
class Movement {
public:
    Movement(const Broker& broker, const Fleet& fleet)
        : mover_([&](const std::stop_token& end) {
              constexpr std::chrono::milliseconds kWay{4000};  // one way takes longer
              Client client(broker, "nothing");
              for (bool there = true; !end.stop_requested(); there = !there) {
                  for (const std::string& name : fleet.names) {
                      client.send("kestrel/" + name + "/set/lens/camN/pan",
                                  there ? "a:40000" : "a:1000", {});
                  }
                  for (auto rest = kWay; rest.count() > 0 && !end.stop_requested(); rest -= kStep) {
                      std::this_thread::sleep_for(kStep);
                  }
              }
          }) {}

private:
    static constexpr std::chrono::milliseconds kStep{50};
    std::jthread mover_;
};

void measureFleets() {
    Load one{};
    double memory = 0;
    Times times;
    for (const int count : {1, 10, 100}) {
        progress(std::to_string(count) + " heads on one machine");
        Broker broker;
        broker.start();
        Fleet fleet(broker, count);
        const Load idle = measureLoad(broker, fleet);
        const std::string heads = std::to_string(count) + (count == 1 ? " head" : " heads");
        if (count == 1) {
            one = idle;
            memory = fleet.memory();
            times = orderTimes(broker, fleet);
            const Movement movement(broker, fleet);
            row("messages a minute, moving", measureLoad(broker, fleet).messages, "/min", "idle",
                one.messages);
            continue;
        }
        row("processor of each of " + heads + ", idle", idle.head, "%", "one head", one.head);
        row("memory of each of " + heads, fleet.memory(), "MiB", "one head", memory);
        rows("from set to \"run\", " + heads, orderTimes(broker, fleet), "one head", times);
        const Movement movement(broker, fleet);
        const Load moving = measureLoad(broker, fleet);
        row("processor of each of " + heads + ", moving", moving.head, "%", "idle", idle.head);
        row("processor of the broker, " + heads + " moving", moving.broker, "%", "idle",
            idle.broker);
        rows("from set to \"run\", " + heads + " moving", orderTimes(broker, fleet), "one head",
             times);
    }
}

}  // namespace

int main() {
    mosquitto_lib_init();
    std::printf("%-44s %11s %-7s  %-36s %11s  %8s\n", "what", "measured", "unit", "compared to",
                "measured", "times");
    measureOrders();
    measureSets();
    measureFleets();
    return 0;
}
