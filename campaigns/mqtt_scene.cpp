#include "campaigns/mqtt_scene.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

#include "campaigns/campaign.h"
#include "tests/paths.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kPatience{30};
constexpr const char* kNumber = "kestrel/cam7/set/lens/test/number";
constexpr const char* kPan = "kestrel/cam7/set/lens/camN/pan";

// A broker's key and certificate, and a stranger's.
class Certificates {
public:
    Certificates() {
        std::string pattern = fs::temp_directory_path().string() + "/kestrel-tls-XXXXXX";
        EXPECT_NE(mkdtemp(pattern.data()), nullptr);
        directory = pattern;
        for (const std::string name : {"broker", "stranger"}) {
            const std::string path = directory + "/" + name;
            Process make({"/usr/bin/openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt",
                          "ec_paramgen_curve:P-256", "-nodes", "-subj", "/CN=" + name, "-addext",
                          "subjectAltName=DNS:localhost", "-keyout", path + ".key", "-out",
                          path + ".crt"});
            const std::string output = make.finish();
            EXPECT_EQ(make.status, 0) << output;
        }
    }
    ~Certificates() {
        std::error_code ignored;
        fs::remove_all(directory, ignored);
    }

    // A broker's lines for it. The broker may have given up the rights of who started it.
    std::string lines(const std::string& name) const {
        return "user root\ncertfile " + directory + "/" + name + ".crt\nkeyfile " + directory +
               "/" + name + ".key\n";
    }

    std::string directory;
};

const Certificates& certificates() {
    static const Certificates instance;
    return instance;
}

std::string listener(int port) {
    return "listener " + std::to_string(port) + " 127.0.0.1\n";
}

// Clients connect to the broker's port, the head to its own.
std::string brokerLines(bool tls, int headPort) {
    std::string lines =
        replaced(readSource("packaging/mosquitto/bench.conf"), "listener 1883", "listener @PORT@");
    lines += listener(headPort);
    return tls ? lines + certificates().lines("broker") : lines;
}

std::string impostorLines(bool tls, int headPort) {
    return "per_listener_settings true\nlistener @PORT@ 127.0.0.1\nallow_anonymous true\n" +
           listener(headPort) +
           (tls ? "allow_anonymous true\n" + certificates().lines("stranger")
                : "allow_anonymous false\n");
}

template <typename Condition>
bool comesTrue(Condition condition) {
    const Clock::time_point limit = Clock::now() + kPatience;
    while (!condition()) {
        if (Clock::now() > limit) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

// The line as the console prints it.
std::string printed(const std::string& line) {
    std::string result;
    for (const char c : line) {
        const auto byte = static_cast<unsigned char>(c);
        std::array<char, 8> escape = {c};
        if (byte < 0x20 || byte == 0x7f) {
            std::snprintf(escape.data(), escape.size(), "\\x%02x", byte);
        }
        result += escape.data();
    }
    return result;
}

// Both in their order.
std::vector<std::string> without(const std::vector<std::string>& lines,
                                 const std::vector<std::string>& others) {
    std::vector<std::string> rest;
    std::set_difference(lines.begin(), lines.end(), others.begin(), others.end(),
                        std::back_inserter(rest));
    return rest;
}

}  // namespace

Scene::Scene(bool tls, std::uint64_t seed)
    : tls_(tls),
      seed_(seed),
      headPort_(freePort()),
      broker(brokerLines(tls, headPort_)),
      link(headPort_),
      head((broker.start(), broker), headOptions()),
      pan_(Positions{}.pan) {}

std::vector<std::string> Scene::headOptions() const {
    const std::string port = std::to_string(link.port());
    if (!tls_) {
        return {"--mqtt", "mqtt://localhost:" + port};
    }
    return {"--mqtt", "mqtts://localhost:" + port, "--mqtt-ca",
            certificates().directory + "/broker.crt"};
}

std::uint64_t Scene::chance(std::uint64_t limit) {
    return pick(seed_, limit);
}

void Scene::pass(std::uint64_t milliseconds) {
    std::this_thread::sleep_for(std::chrono::microseconds(chance(milliseconds * 1000)));
}

void Scene::steer(Client& client, int count, Fate fate, bool retained) {
    const int moveBehind = static_cast<int>(chance(static_cast<std::uint64_t>(count)));
    for (int i = 0; i < count; ++i) {
        const std::string number = std::to_string(commands_.size());
        client.send(kNumber, number, {retained, "", ""});
        commands_.push_back({"cmd lens.test.number " + number, fate});
        if (i == moveBehind) {
            const int steps = 20 + static_cast<int>(chance(200));
            const std::string word = "r:" + std::to_string(pan_ < 20'000 ? steps : -steps);
            client.send(kPan, word, {retained, "", ""});
            commands_.push_back({"cmd lens.camN.pan " + word, fate});
        }
    }
}

void Scene::finish(Client& client) {
    client.publish("kestrel/cam7/set/lens/test/end", "");
}

void Scene::steerNobody(Client& client) {
    const bool retained = chance(2) == 0;
    commandsKept_ = commandsKept_ || retained;
    steer(client, 10, Fate::never, retained);
}

void Scene::setOnConsole(const std::string& key, const std::string& value) {
    head.process.write("set " + key + " " + value + "\n");
}

void Scene::restore() {
    link.restore(headPort_);
}

Broker& Scene::mislead() {
    const int port = freePort();
    impostor_.emplace(impostorLines(tls_, port));
    impostor_->start();
    link.cut();
    head.process.readTo("; trying on");
    link.restore(port);
    head.process.readTo(tls_ ? "the broker's certificate is not accepted"
                             : "the broker does not take user or password");
    return *impostor_;
}

void Scene::check() {
    Client client(broker, "kestrel/cam7/bus/lens/test/mark");
    // What the head was told before has gone the same way out when it comes, and in.
    const std::string out = std::to_string(++marks_);
    setOnConsole("lens.test.mark", out);
    client.readTo("kestrel/cam7/bus/lens/test/mark " + out);
    const std::string in = std::to_string(++marks_);
    client.publish("kestrel/cam7/set/lens/test/mark", in);
    client.readTo("kestrel/cam7/bus/lens/test/mark " + in);
    const std::string trace = head.process.readTo("cmd lens.test.mark " + in + "\n");
    checkCommands(trace.substr(read_));
    read_ = trace.size();
    checkPan();
    checkKept();
}

// Judges the commands before the one of that line, or all.
bool Scene::passOver(const std::string& line) {
    for (; judged_ < commands_.size() && commands_[judged_].line != line; ++judged_) {
        if (commands_[judged_].fate == Fate::once) {
            ADD_FAILURE() << commands_[judged_].line << ": lost";
            return false;
        }
    }
    return true;
}

void Scene::checkCommands(const std::string& trace) {
    std::istringstream lines(trace);
    for (std::string text; std::getline(lines, text);) {
        const std::optional<Event> event = readEvent(text);
        const std::string line = event ? event->line() : "";
        const bool move = line.starts_with("cmd lens.camN.pan ");
        if (!move && !line.starts_with("cmd lens.test.number ")) {
            continue;
        }
        if (!passOver(line)) {
            return;
        }
        if (judged_ == commands_.size()) {
            ADD_FAILURE() << line << ": twice, late or out of order";
            return;
        }
        EXPECT_TRUE(commands_[judged_].fate != Fate::never) << line << ": must not be carried out";
        ++judged_;
        pan_ += move ? std::stoi(line.substr(line.find(':') + 1)) : 0;
    }
    passOver("");
}

void Scene::checkPan() {
    const std::string expected = "lens.camN.position_pan " + std::to_string(pan_);
    std::string found;
    EXPECT_TRUE(comesTrue([&] {
        found = head.ask("get lens.camN.position_pan").at(0);
        return found == expected &&
               head.ask("get lens.camN.panstatus").at(0) != "lens.camN.panstatus run";
    })) << expected
        << ", not " << found;
}

void Scene::checkKept() {
    std::vector<std::string> expected;
    std::vector<std::string> kept;
    EXPECT_TRUE(comesTrue([&] {
        expected = head.toBeKept();
        expected.emplace_back("kestrel/cam7/state online");
        std::sort(expected.begin(), expected.end());
        kept = keptBelow(broker, "kestrel/cam7");
        std::transform(kept.begin(), kept.end(), kept.begin(), printed);
        std::sort(kept.begin(), kept.end());
        const auto info = std::erase_if(kept, [](const std::string& line) {
            return line.starts_with("kestrel/cam7/info {\"program\":\"kestrel-twin\",");
        });
        if (commandsKept_) {
            std::erase_if(kept, [](const std::string& line) {
                return line.starts_with("kestrel/cam7/set/");
            });
        }
        return info == 1 && kept == expected;
    })) << testing::PrintToString(without(kept, expected))
        << " is kept and should not be, " << testing::PrintToString(without(expected, kept))
        << " should and is not";
}

Footprint Scene::footprint() const {
    const std::string process = "/proc/" + std::to_string(head.process.id());
    long pages = 0;
    long resident = 0;
    std::ifstream(process + "/statm") >> pages >> resident;
    return {resident * (sysconf(_SC_PAGESIZE) / 1024),
            std::distance(fs::directory_iterator(process + "/fd"), fs::directory_iterator())};
}

void Scene::end() {
    head.process.write("quit\n");
    const std::string output = head.process.finish();
    EXPECT_EQ(head.process.status, 0) << output;
}
