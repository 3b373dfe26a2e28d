// The bus on MQTT in trouble: brokers that die, stall and lie, links that break, floods, garbage,
// retained commands, other clients under the head's name. After each trouble no command has been
// carried out twice or late, and what the broker keeps is what the bus holds; at the end memory and
// descriptors are where they were.
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "campaign.h"
#include "mqtt_scene.h"

namespace {

constexpr int kCases = 200;
constexpr int kTroublesInACase = 6;
// Most of a case is waiting for the head to connect again.
constexpr int kWorkers = 8;
// What the allocator may still take once a few troubles are over.
constexpr std::size_t kTroublesToSettle = 3;
constexpr long kMemoryAllowanceKib = 3072;
constexpr int kBurst = 100;

void die(Scene& scene, int signal) {
    Client client(scene.broker, "nothing");
    scene.steer(client, kBurst, Fate::atMost);
    scene.pass(20);
    scene.broker.process().signal(signal);
    scene.broker.kill();
    scene.pass(50);
    scene.broker.start();
}

void kill(Scene& scene) {
    die(scene, SIGKILL);
}

void endBroker(Scene& scene) {
    die(scene, SIGTERM);
}

// The broker stands still while others steer and more is set on the bus than the head keeps.
void stall(Scene& scene) {
    Client client(scene.broker, "nothing");
    scene.steer(client, kBurst, Fate::once);
    scene.pass(5);
    scene.broker.process().signal(SIGSTOP);
    for (int i = 0; i < 6000; ++i) {
        scene.setOnConsole("lens.test.many" + std::to_string(scene.chance(50)), std::to_string(i));
    }
    scene.pass(1000);
    scene.broker.process().signal(SIGCONT);
    Scene::finish(client);
}

// Waits until the broker has lost the head.
void waitUntilAway(Scene& scene) {
    Client(scene.broker, "kestrel/cam7/state").readTo("kestrel/cam7/state offline");
}

// While the head is away others steer it, and somebody has it retained.
void cut(Scene& scene) {
    Client client(scene.broker, "nothing");
    scene.steer(client, kBurst, Fate::atMost);
    scene.pass(20);
    scene.link.cut();
    waitUntilAway(scene);
    scene.steerNobody(client);
    Scene::finish(client);
    scene.setOnConsole("lens.camN.preset1", std::to_string(scene.chance(1000)) + ",2,3,4,5,0,0,0");
    scene.restore();
}

// Nothing passes for a while, and neither end is told.
void hold(Scene& scene) {
    Client client(scene.broker, "nothing");
    scene.steer(client, kBurst, Fate::once);
    scene.link.hold();
    scene.pass(1000);
    scene.restore();
    Scene::finish(client);
}

// The same until the head gives up.
void silence(Scene& scene) {
    Client client(scene.broker, "nothing");
    scene.steer(client, kBurst, Fate::atMost);
    scene.link.hold();
    scene.head.process.readTo("; trying on");
    scene.link.cut();
    waitUntilAway(scene);
    scene.restore();
}

void flood(Scene& scene) {
    Client client(scene.broker, "nothing");
    scene.steer(client, 1000, Fate::once);
    Scene::finish(client);
}

std::string garbageText(Scene& scene, std::uint64_t longest) {
    std::string text(scene.chance(longest + 1), ' ');
    for (char& byte : text) {
        byte = static_cast<char>(scene.chance(256));
    }
    return text;
}

// A level that a topic can have.
std::string garbageLevel(Scene& scene) {
    static const std::vector<std::string> kLevels = {
        "bus",  "set",   "state", "info",       "error",        "lens",    "camN",
        "cam1", "image", "zoom",  "zoomstatus", "position_pan", "preset1", "action",
        "cmd",  "",      "a.b",   "\xc3\xa4",   "$share",       "demo",    "test"};
    return kLevels[scene.chance(kLevels.size())];
}

void garbage(Scene& scene) {
    Client client(scene.broker, "nothing");
    static const std::vector<std::string> kTopics = {"state",
                                                     "info",
                                                     "error",
                                                     "bus",
                                                     "set",
                                                     "bus/lens/camN/position_pan",
                                                     "bus/lens/camN/zoom",
                                                     "bus/image/camN/flip",
                                                     "set/lens",
                                                     "set/lens/camN/zoom/",
                                                     "set//",
                                                     "set/gpio.camN"};
    for (int i = 0; i < 400; ++i) {
        std::string topic = "kestrel/cam7/";
        if (scene.chance(2) == 0) {
            topic += kTopics[scene.chance(kTopics.size())];
        } else {
            topic += scene.chance(2) == 0 ? "bus" : "set/none";
            for (auto levels = scene.chance(6); levels > 0; --levels) {
                topic.append("/").append(garbageLevel(scene));
            }
        }
        const bool retained = scene.chance(2) == 0;
        client.send(
            topic, garbageText(scene, scene.chance(50) == 0 ? 100'000 : 200),
            {retained, scene.chance(4) == 0 ? "kestrel/answers" : "", garbageText(scene, 64)});
    }
    scene.steer(client, kBurst, Fate::once);
    Scene::finish(client);
}

// More topics under the head's name than it repairs at once.
void lies(Scene& scene) {
    Client client(scene.broker, "nothing");
    for (int i = 0; i < 6000; ++i) {
        client.send("kestrel/cam7/bus/lens/lie/" + std::to_string(i), "1", {true, "", ""});
    }
    Scene::finish(client);
}

void retain(Scene& scene) {
    Client client(scene.broker, "nothing");
    scene.steer(client, kBurst, Fate::never, true);
    Scene::finish(client);
}

// Somebody else under the head's name, who lies about it until the head is back.
void takeOver(Scene& scene) {
    Client watcher(scene.broker, "kestrel/cam7/state");
    Client client(scene.broker, "nothing");
    scene.steer(client, kBurst, Fate::atMost);
    scene.pass(10);
    Account account;
    account.id = "kestrel:cam7";
    Client other(scene.broker, "kestrel/cam7/set/#", account);
    other.publish("kestrel/cam7/bus/lens/camN/position_pan", "lie", {true, "", ""});
    other.publish("kestrel/cam7/bus/lens/camN/zoom", "a:1", {true, "", ""});
    watcher.readTo("kestrel/cam7/state offline");
    scene.steer(client, kBurst, Fate::atMost);
}

void mislead(Scene& scene) {
    Client client(scene.mislead(), "nothing");
    scene.steer(client, kBurst, Fate::never, true);
    Scene::finish(client);
    scene.link.cut();
    scene.restore();
}

struct Trouble {
    const char* name;
    void (*make)(Scene& scene);
    int often;  // beside the others
};

constexpr std::array<Trouble, 12> kTroubles = {{
    {"killed", kill, 40},
    {"ended", endBroker, 8},
    {"stalled", stall, 8},
    {"cut", cut, 12},
    {"held", hold, 8},
    {"flood", flood, 8},
    {"garbage", garbage, 8},
    {"lies", lies, 4},
    {"retained", retain, 4},
    {"taken-over", takeOver, 4},
    {"misled", mislead, 8},
    {"silent", silence, 1},
}};
std::array<std::atomic<int>, kTroubles.size()> gMade;

const Trouble& pickTrouble(std::uint64_t& seed) {
    int all = 0;
    for (const Trouble& trouble : kTroubles) {
        all += trouble.often;
    }
    int left = static_cast<int>(pick(seed, static_cast<std::uint64_t>(all)));
    std::size_t row = 0;
    while ((left -= kTroubles[row].often) >= 0) {
        ++row;
    }
    return kTroubles[row];
}

// NUMBER/TROUBLE+TROUBLE+...; the number is the seed of all that is left to chance, and an odd one
// stands for TLS.
std::vector<std::string> cases(std::uint64_t seed) {
    std::vector<std::string> names;
    for (int i = 0; i < kCases; ++i) {
        std::string name = std::to_string(pick(seed, 1'000'000));
        for (int j = 0; j < kTroublesInACase; ++j) {
            name.append(j == 0 ? "/" : "+").append(pickTrouble(seed).name);
        }
        names.push_back(name);
    }
    return names;
}

// The troubles of a case's name, in which TROUBLE*COUNT is that often the same. Empty if it is not
// one.
std::vector<std::size_t> troublesOf(const std::string& caseName) {
    std::vector<std::size_t> troubles;
    std::istringstream words(
        caseName.substr(std::min(caseName.find('/'), caseName.size() - 1) + 1));
    for (std::string word; std::getline(words, word, '+');) {
        std::uint64_t count = 1;
        if (const std::size_t at = word.find('*'); at != std::string::npos) {
            readUnsigned(word.c_str() + at + 1, count);
            word.resize(at);
        }
        const auto row = std::find_if(kTroubles.begin(), kTroubles.end(),
                                      [&](const Trouble& trouble) { return trouble.name == word; });
        if (row == kTroubles.end()) {
            return {};
        }
        troubles.insert(troubles.end(), count, static_cast<std::size_t>(row - kTroubles.begin()));
    }
    return troubles;
}

void live(Scene& scene, const std::vector<std::size_t>& troubles,
          const testing::TestPartResultArray& failures) {
    scene.check();
    Footprint settled = scene.footprint();
    for (std::size_t i = 0; i < troubles.size(); ++i) {
        kTroubles[troubles[i]].make(scene);
        scene.check();
        ++gMade[troubles[i]];
        if (failures.size() > 0) {
            return;
        }
        if (i + 1 == kTroublesToSettle) {
            settled = scene.footprint();
        }
        if (oneCaseAlone()) {
            std::printf("%zu %s: %ld KiB, %ld descriptors\n", i + 1, kTroubles[troubles[i]].name,
                        scene.footprint().memoryKib, scene.footprint().descriptors);
        }
    }
    const Footprint last = scene.footprint();
    EXPECT_EQ(last.descriptors, settled.descriptors);
    EXPECT_LE(last.memoryKib - settled.memoryKib, kMemoryAllowanceKib);
    scene.end();
}

std::string run(const std::string& caseName) {
    const std::vector<std::size_t> troubles = troublesOf(caseName);
    if (troubles.empty()) {
        return "    there is no such case\n";
    }
    std::uint64_t seed = std::strtoull(caseName.c_str(), nullptr, 10);
    testing::TestPartResultArray failures;
    {
        const testing::ScopedFakeTestPartResultReporter reporter(
            testing::ScopedFakeTestPartResultReporter::INTERCEPT_ONLY_CURRENT_THREAD, &failures);
        Scene scene(seed % 2 == 1, seed);
        live(scene, troubles, failures);
    }
    std::string problems;
    for (int i = 0; i < failures.size(); ++i) {
        problems.append("    ").append(failures.GetTestPartResult(i).message()).append("\n");
    }
    return problems;
}

void report() {
    for (std::size_t i = 0; i < kTroubles.size(); ++i) {
        std::printf("%-12s %5d\n", kTroubles[i].name, gMade[i].load());
    }
}

}  // namespace

int main(int argc, char** argv) {
    mosquitto_lib_init();
    return runCampaign(argc, argv, {"mqtt", cases, run, report, kWorkers});
}
