// The page's server from outside: the interface for programs, its guards and limits, and the camera
// whose power is switched behind it.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "broker.h"
#include "paths.h"
#include "process.h"
#include "session.h"
#include "twin/page/link.h"

namespace {

using nlohmann::json;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

// A connection to the server. Everything ends with the server's end of it, so that nothing here
// waits for a time.
class Connection {
public:
    explicit Connection(int port, int receiveBuffer = 0) {
        descriptor_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (receiveBuffer > 0) {
            setsockopt(descriptor_, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
        }
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(connect(descriptor_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0)
            << std::strerror(errno);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection() {
        close(descriptor_);
    }

    // False if the server has had enough before the end.
    bool send(const std::string& text) const {
        for (std::size_t sent = 0; sent < text.size();) {
            const ssize_t count =
                ::send(descriptor_, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
            if (count <= 0) {
                return false;
            }
            sent += static_cast<std::size_t>(count);
        }
        return true;
    }
    // Reads until `text` has come, or to the end. What was read is not read again.
    std::string readTo(const std::string& text) {
        std::string all;
        std::array<char, 16384> part{};
        while (all.find(text) == std::string::npos) {
            const ssize_t count = recv(descriptor_, part.data(), part.size(), 0);
            if (count <= 0) {
                break;
            }
            all.append(part.data(), static_cast<std::size_t>(count));
        }
        return all;
    }
    std::string readAll() {
        return readTo("no server says this");
    }

private:
    int descriptor_ = -1;
};

struct Answer {
    int status = 0;
    std::string header;
    std::string body;
};

Answer answerOf(const std::string& text) {
    Answer answer;
    const std::size_t end = text.find("\r\n\r\n");
    if (text.starts_with("HTTP/1.") && end != std::string::npos) {
        answer.status = std::atoi(text.substr(9, 3).c_str());
        answer.header = text.substr(0, end + 2);
        answer.body = text.substr(end + 4);
    }
    return answer;
}

const std::string kHost = "Host: 127.0.0.1\r\n";

// The program with a page, and requests to it.
class Page {
public:
    explicit Page(const std::vector<std::string>& options = {"--clock", "virtual", "--quiet"},
                  const std::string& input = "")
        : program_(withPage(options)) {
        program_.write(input);
        program_.readTo("kestrel-twin: the page is at http://127.0.0.1:");
        port = std::atoi(program_.readOn("\n").c_str());
    }
    // The answer to what may be no request, on a connection of its own.
    Answer raw(const std::string& text) const {
        Connection connection(port);
        connection.send(text);
        return answerOf(connection.readAll());
    }
    // A request is read to its end whatever the answer is, else its sender may not see that.
    Answer request(const std::string& line, const std::string& body = "",
                   const std::string& headers = kHost) const {
        Connection connection(port);
        EXPECT_TRUE(connection.send(line + " HTTP/1.1\r\n" + headers +
                                    "Connection: close\r\nContent-Length: " +
                                    std::to_string(body.size()) + "\r\n\r\n" + body))
            << line;
        return answerOf(connection.readAll());
    }
    Answer console(const std::string& commands) const {
        return request("POST /console", commands);
    }
    json head() const {
        return json::parse(request("GET /head").body);
    }
    void signal(int number) const {
        program_.signal(number);
    }
    // Waits for the program's end: its exit status, and what it printed.
    int finish(std::string* output = nullptr) {
        program_.finish();
        if (output != nullptr) {
            *output = folder_.read("/output").value_or("none");
        }
        return program_.status;
    }

    int port = 0;

private:
    // What the program says on the side comes through the pipe, its output into a file.
    std::vector<std::string> withPage(std::vector<std::string> options) const {
        folder_.write("/output", "");
        options.insert(options.begin(), {"/bin/sh", "-c", R"(exec "$@" 2>&1 >"$0")",
                                         folder_.pathOf("/output"), kTwinProgram, "--page", "0"});
        return options;
    }

    Camera folder_;
    Process program_;
};

TEST(Page, AnswersEveryRequestRightAndWrong) {
    const Page page;
    const std::string foreign = "this host is reached by its address or as localhost only\n";
    const std::string long_value(128, 'v');
    const struct {
        std::string line;
        std::string body;
        std::string headers;
        int status;
        std::string says;  // in the answer's body, or its header
    } cases[] = {
        {"GET /", "", kHost, 200, "<!DOCTYPE html>"},
        {"GET /main.js", "", kHost, 200, "Content-Type: text/javascript; charset=utf-8\r\n"},
        {"HEAD /main.js", "", kHost, 200, "ETag: \""},
        {"PUT /bus/x.key", "two  words", kHost, 204, ""},
        {"PUT /bus/x.%6Cong%20name/and%2Fslash", "\xff\"", kHost, 204, ""},
        {"GET /bus?below=x.", "", kHost, 200,
         "{\"x.key\":\"two  words\",\"x.long name/and/slash\":\"\xEF\xBF\xBD\\\"\"}\n"},
        {"GET /bus?below=no.such", "", kHost, 200, "{}\n"},
        {"GET /bus", "", kHost, 200, "\"lens.global.led_power\":\"255\""},
        {"POST /console", "get x.key\r\n\n# remark\nexpect x.key two  words", kHost, 200,
         "= x.key two  words\n= ok\n"},
        {"POST /console", "", kHost, 200, ""},
        {"POST /console", "bogus\nget x.key\n", kHost, 422, "(line 1)\n= x.key two  words\n"},
        {"POST /console", "expect x.key y\n", kHost, 422, "= FAIL x.key is two  words (line 1)\n"},
        {"POST /console", std::string("get a\0b", 7), kHost, 422, "= error NUL bytes"},
        {"POST /console", "set k " + std::string(5000, 'v'), kHost, 422, "than 4096 bytes"},
        {"POST /console", "power-on", kHost, 422, "= error the camera is on (line 1)\n"},
        {"PUT /bus/" + std::string(128, 'k'), "v", kHost, 400, "128 bytes"},
        {"PUT /bus/k", long_value, kHost, 400, "128 bytes"},
        {"PUT /bus/k", std::string("a\0b", 3), kHost, 400, "a NUL byte in the value"},
        {"PUT /bus/", "v", kHost, 404, "no such path"},
        {"PUT /bus/k?v=1", "v", kHost, 400, "no query"},
        {"GET /bus?prefix=x", "", kHost, 400, "accepted: below=PREFIX"},
        {"GET /bus?below=%zz", "", kHost, 400, "accepted: below=PREFIX"},
        {"GET /%00head", "", kHost, 400, "wrong escape"},
        {"GET /..%2f..%2fetc/passwd", "", kHost, 404, "no such path"},
        {"GET /../twin/main.cpp", "", kHost, 404, "no such path"},
        {"GET //main.js", "", kHost, 404, "no such path"},
        {"GET /console", "", kHost, 405, "Allow: POST\r\n"},
        {"GET /recording", "", kHost, 204, ""},
        {"GET /recording/1", "", kHost, 404, "no recording is shown; --replay FILE --page PORT"},
        {"PUT /recording", "", kHost, 405, "Allow: GET, HEAD\r\n"},
        {"DELETE /head", "", kHost, 405, "Allow: GET, HEAD\r\n"},
        {"HEAD /events", "", kHost, 405, "Allow: GET\r\n"},
        {"POST /main.js", "x", kHost, 405, "Allow: GET, HEAD\r\n"},
        {"BREW /head", "", kHost, 405, "accepted: GET"},
        {"POST /console", std::string(65'537, 'x'), kHost, 413, "65536 bytes"},
        {"POST /nowhere", std::string(1'000'000, 'x'), kHost, 413, "65536 bytes"},
        {"PUT /nowhere", std::string(65'000, 'x'), kHost, 404, "no such path"},
        {"GET /" + std::string(30'000, 'a'), "", kHost, 414, "target too long, accepted: 24576"},
        {"GET /head", "", kHost + "X: " + std::string(30'000, 'a') + "\r\n", 431, "headers too"},
        {"GET /head", "", "", 400, "accepted: one Host header\n"},
        {"GET /head", "", "Host: head.example\r\n", 403, foreign},
        {"GET /head", "", "Host: 127.0.0.1.head.example\r\n", 403, foreign},
        {"GET /head", "", "Host: 127.0.0.1:80x\r\n", 403, foreign},
        {"GET /head", "", "Host: [::1\r\n", 403, foreign},
        {"GET /head", "", kHost + "Host: localhost\r\n", 400, "accepted: one Host header\n"},
        {"GET /head", "", "Host: localhost:8080\r\n", 200, "\"on\":true"},
        {"GET /head", "", "Host: [::1]:8080\r\n", 200, "\"on\":true"},
        {"POST /console", "get x", kHost + "Origin: http://head.example\r\n", 403, "other sites'"},
        {"POST /console", "get x", kHost + "Origin: null\r\n", 403, "other sites'"},
        {"POST /console", "get x", kHost + "Origin: http://127.0.0.1:81\r\n", 403, "other sites'"},
        {"POST /console", "get x", kHost + "Origin: http://127.0.0.1\r\n", 200, "= x absent\n"},
    };
    for (const auto& row : cases) {
        const Answer answer = page.request(row.line, row.body, row.headers);
        EXPECT_EQ(answer.status, row.status) << row.line << row.headers << answer.body;
        EXPECT_THAT(answer.header + answer.body, HasSubstr(row.says)) << row.line << row.headers;
        if (row.status >= 400 && !row.line.starts_with("HEAD")) {
            EXPECT_THAT(answer.body, EndsWith("\n")) << row.line;
        }
    }
    const std::string file = page.request("GET /main.js").header;
    const std::size_t tag = file.find("ETag: ");
    const std::string name = file.substr(tag + 6, file.find("\r\n", tag) - tag - 6);
    EXPECT_EQ(page.request("GET /main.js", "", kHost + "If-None-Match: " + name + "\r\n").status,
              304);
}

TEST(Page, GarbageAndWhatIsCutOffIsRefusedAndHarmsNothing) {
    const Page page;
    const struct {
        std::string text;
        int status;
    } cases[] = {
        {"\x16\x03\x01\x02\r\n\r\n", 0},
        {"GET /" + std::string(100'000, 'a') + " HTTP/1.1\r\n\r\n", 414},
        {"GET /head HTTP/1.1\r\n" + kHost + "X: " + std::string(100'000, 'a') + "\r\n\r\n", 431},
        {"POST /console HTTP/1.1\r\n" + kHost + "Content-Length: -1\r\n\r\n", 0},
        {"POST /console HTTP/1.1\r\n" + kHost + "Content-Length: 99999999999999999999\r\n\r\n", 0},
        {"POST /console HTTP/1.1\r\n" + kHost +
             "Connection: close\r\nTransfer-Encoding: chunked\r\n\r\n4\r\nhead\r\n0\r\n\r\n",
         200},
        {"POST /console HTTP/1.1\r\n" + kHost +
             "Connection: close\r\nTransfer-Encoding: chunked\r\n\r\n11170\r\n" +
             std::string(70'000, 'x') + "\r\n0\r\n\r\n",
         413},
    };
    for (const auto& row : cases) {
        const Answer answer = page.raw(row.text);
        // Where it is no request at all, whether there is an answer is the library's choice.
        if (row.status != 0) {
            EXPECT_EQ(answer.status, row.status) << row.text.substr(0, 60);
        } else {
            EXPECT_TRUE(answer.status == 0 || answer.status >= 400) << row.text.substr(0, 60);
        }
    }
    for (const char* part : {"POST /cons", "POST /console HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-",
                             "POST /console HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: "
                             "20\r\n\r\nset x.cut 1\nset x."}) {
        Connection(page.port).send(part);
    }
    EXPECT_EQ(page.console("get x.cut").body, "= x.cut absent\n");
}

TEST(Page, SlowClientsInGreatNumberKeepNobodyOut) {
    const Page page;
    std::vector<std::unique_ptr<Connection>> idle;
    for (int i = 0; i < 200; ++i) {
        idle.push_back(std::make_unique<Connection>(page.port));
        idle.back()->send(i % 2 == 0 ? "GET /head HT" : "");
    }
    EXPECT_EQ(page.request("GET /head").status, 200);
    idle.clear();
    // Readers of events are fewer; the next one is told so.
    for (int i = 0; i < 64; ++i) {
        idle.push_back(std::make_unique<Connection>(page.port));
        idle.back()->send("GET /events HTTP/1.1\r\n" + kHost + "\r\n");
        EXPECT_THAT(idle.back()->readTo("event: head"), StartsWith("HTTP/1.1 200"));
    }
    EXPECT_EQ(page.request("GET /events").status, 503);
    EXPECT_EQ(page.request("GET /head").status, 200);
}

const std::string kScript =
    "set lens.camN.zoom a:1500\nrun 2.5\nwait lens.camN.panstatus stop 60\nfault axis pan slip 5\n"
    "set lens.camN.pan r:500\nrun 3\nkeys lens.camN.position\nhead\n";

using Events = std::vector<std::pair<std::string, json>>;

// The server-sent events of a text, each with its name.
Events eventsOf(const std::string& text) {
    Events events;
    const std::string name = "event: ";
    const std::string data = "\ndata: ";
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = text.find("\n\n", begin);
        const std::size_t middle = text.find(data, begin);
        events.emplace_back(
            text.substr(begin + name.size(), middle - begin - name.size()),
            json::parse(text.substr(middle + data.size(), end - middle - data.size())));
        begin = end + 2;
    }
    return events;
}

json headAt(const Events& events, double time) {
    json head;
    for (const auto& [name, event] : events) {
        head = name == "head" && event.at("t") <= time ? event : head;
    }
    head["t"] = time;
    return head;
}

// The events are the trace that the run printed from that line on, and the heads those that the
// console told then.
void expectTheRun(const Events& events, const Session& run, const std::string& begin) {
    std::string trace;
    for (const auto& [name, event] : events) {
        if (name == "trace") {
            std::array<char, 32> time{};
            std::snprintf(time.data(), time.size(), "%.6f", event["t"].get<double>());
            trace += time.data() + (" " + event["kind"].get<std::string>()) + " " +
                     event["text"].get<std::string>() + "\n";
        }
    }
    std::string printed;
    for (const std::string& line : linesOf(run.output)) {
        if (line.starts_with("= {")) {
            const json head = json::parse(line.substr(2));
            EXPECT_EQ(headAt(events, head["t"]), head);
        } else if (!line.starts_with("#") && !line.starts_with("=")) {
            printed += line + "\n";
        }
    }
    EXPECT_EQ(trace, printed.substr(printed.find(begin)));
}

TEST(Page, AScriptGivesTheAnswersTheTraceAndTheHeadsOfStandardInput) {
    std::vector<std::string> options = {"--clock", "virtual", "--trace", "--seed", "7"};
    const Session direct = Camera().run(kScript + "run 0.1", options);
    options.insert(options.end(), {"--lens-type", "0"});
    Page page(options);
    Connection stream(page.port);
    stream.send("GET /events HTTP/1.0\r\n" + kHost + "\r\n");
    std::string told = stream.readTo("event: head");
    EXPECT_THAT(told, HasSubstr("Content-Type: text/event-stream\r\n"));
    const Answer answer = page.console(kScript);
    EXPECT_EQ(answer.status, 200);
    std::string answers;
    for (const std::string& line : direct.answers) {
        answers += "= " + line + "\n";
    }
    EXPECT_EQ(answer.body, answers);
    told +=
        stream.readTo("event: head\ndata: {\"t\":" + std::to_string(double{direct.head()["t"]}));
    EXPECT_EQ(page.console("run 0.1\nquit").status, 200);
    told += stream.readAll();
    expectTheRun(eventsOf(told.substr(told.find("event: "))), direct,
                 "0.000000 cmd lens.camN.zoom a:1500\n");
    std::string output;
    EXPECT_EQ(page.finish(&output), 0);
    EXPECT_EQ(output, direct.recording());
}

TEST(Page, ASlowReaderLosesTheOldestWithAMarkAndHoldsNobodyUp) {
    Page page;
    Connection events(page.port, 4096);
    events.send("GET /events HTTP/1.0\r\n" + kHost + "\r\n");
    events.readTo("event: head");
    std::string sets;
    for (int i = 0; i < 500; ++i) {
        sets += "set x.k " + std::string(115, 'v') + "\n";
    }
    for (int i = 0; i < 12; ++i) {
        EXPECT_EQ(page.console(sets).status, 200);
    }
    EXPECT_EQ(page.console("set x.last 1").status, 200);
    const std::string seen = events.readTo("\"x.last 1\"");
    EXPECT_THAT(seen, HasSubstr("event: lost\ndata: {\"count\":"));
    EXPECT_THAT(seen, HasSubstr("\"x.last 1\""));
}

TEST(Page, APowerCutLeavesTheProgramAndPowerOnBootsTheSameCamera) {
    Page page;
    page.console("wait system.camN.info.power_consumption x 5\nset image.cam1.sharpness 7");
    const json before = page.head();
    // One connection, one script; the mechanism and lasting keys stay.
    Answer answer = page.console("power-cut\nhead\n");
    EXPECT_EQ(answer.status, 422);
    EXPECT_EQ(answer.body, "= error the camera is off, accepted: power-on, quit, help (line 2)\n");
    answer = page.console("power-on\npower-cut\nhead\npower-on\n\nget\npower-cut");
    EXPECT_THAT(answer.body, AllOf(HasSubstr("help (line 3)\n"), EndsWith("(line 6)\n")));
    const json off = page.head();
    EXPECT_FALSE(off["on"].get<bool>());
    EXPECT_EQ(off["pan"]["position"], before["pan"]["position"]);
    EXPECT_EQ(off["supply"], 0);
    EXPECT_EQ(page.request("GET /bus").status, 503);
    EXPECT_EQ(page.request("PUT /bus/x", "1").status, 503);
    answer =
        page.console("power-on\nget image.cam1.sharpness\nmount wall90\npower-cut\npower-on\nhead");
    EXPECT_EQ(answer.status, 200) << answer.body;
    EXPECT_THAT(answer.body, StartsWith("= image.cam1.sharpness 7\n= {\"t\":0.000000"));
    EXPECT_THAT(answer.body, HasSubstr("\"mount\":\"wall90\""));
    // The daemon's own end is one of the camera, not of the program.
    EXPECT_EQ(page.console("signal TERM\npower-on").status, 200);
    page.console("quit");
    EXPECT_EQ(page.finish(), 1);
}

TEST(Page, WhatACameraSaidBeforeItsEndIsHeardThoughItReadNothing) {
    int page = -1;
    int camera = -1;
    ASSERT_TRUE(twin::openLink(page, camera));
    twin::sendPacket(page, {twin::PacketKind::watch, 0, "1"}, true);
    twin::sendPacket(camera, {twin::PacketKind::farewell, 0, "off"}, true);
    close(camera);
    const auto farewell = twin::receivePacket(page);
    ASSERT_TRUE(farewell);
    EXPECT_EQ(farewell->text, "off");
    EXPECT_FALSE(twin::receivePacket(page));
    close(page);
}

TEST(Page, StandardInputGoesOnAfterAPowerCut) {
    Page page({"--clock", "virtual", "--quiet"},
              "set x.a 1\npower-cut\nget x.a\npower-on\nget x.a\nexpect x.a 2\n"
              "get lens.global.led_power\nquit\n");
    std::string output;
    EXPECT_EQ(page.finish(&output), 1);
    EXPECT_EQ(output,
              "= error the camera is off, accepted: power-on, quit, help (line 3)\n= x.a 1\n"
              "= FAIL x.a is 1 (line 6)\n= lens.global.led_power 255\n");
}

TEST(Page, RealClockAClientThatLeavesInAWaitHarmsNothing) {
    Page page({"--clock", "real", "--quiet"});
    {
        Connection leaving(page.port);
        const std::string body = "set x.began 1\nwait x.never 1 100000\nset x.rest 1\n";
        leaving.send("POST /console HTTP/1.1\r\n" + kHost +
                     "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
        // Other requests are answered while the console waits.
        while (page.request("GET /bus?below=x.").body != "{\"x.began\":\"1\"}\n") {
        }
    }
    EXPECT_EQ(page.console("get x.rest").body, "= x.rest absent\n");
    EXPECT_EQ(page.console("speed 20\nrun 5").status, 200);
    EXPECT_EQ(page.head()["speed"], 20);
    page.signal(SIGTERM);
    EXPECT_EQ(page.finish(), 1);
}

TEST(Page, APlaceThatIsTakenOrUnknownIsSaid) {
    const Page page;
    const std::pair<std::string, std::string> cases[] = {
        {"host:80", "--page host: "},
        {"127.0.0.1:" + std::to_string(page.port), "Address already in use"},
    };
    for (const auto& [value, says] : cases) {
        const Session run = Camera().run("", {"--page", value});
        EXPECT_NE(run.status, 0) << value;
        EXPECT_THAT(run.errors, HasSubstr(says)) << value;
    }
}

TEST(Page, ShowsTheFilmOfARecording) {
    const Camera camera(Positions{});
    const Session first = camera.run(
        "run 1\nmount desktop\nset lens.camN.zoom a:1500\nrun 0.2\nhead\nfault scene dark\nrun 3\n"
        "head\nset system.info.poe_status fail\nset lens.camN.pan a:100\nrun 0.32\nhead\nrun "
        "0.04\npower-cut\n");
    const Session second = camera.run("head\nrun 2\nset lens.camN.pan a:9000\nrun 1\nhead\n");
    camera.write("/recording", first.output + second.output);
    Page page({"--replay", camera.pathOf("/recording"), "--clock", "real", "--speed", "20"});
    EXPECT_EQ(json::parse(page.request("GET /recording").body),
              json::parse(R"({"file":"recording","speed":20,"step":0.04,"boots":[
                  {"end":4.56,"off":true,"fails":[]},{"end":3.0,"off":false,"fails":[0.0]}]})"));
    const Events boot = eventsOf(page.request("GET /recording/1").body);
    ASSERT_FALSE(boot.empty());
    EXPECT_EQ(boot.front().first, "bus");
    EXPECT_EQ(boot.front().second["lens.global.led_power"], "255");
    EXPECT_EQ(boot.back().first, "head");
    EXPECT_EQ(boot.back().second["on"], false);
    EXPECT_THAT(boot, testing::Contains(std::pair<std::string, json>(
                          "faults", json::parse(R"(["scene dark"])"))));
    expectTheRun(boot, first, "");
    expectTheRun(eventsOf(page.request("GET /recording/2").body), second, "");
    EXPECT_EQ(page.request("GET /recording/3").status, 404);
    for (const char* const steering :
         {"GET /head", "GET /bus", "PUT /bus/k", "POST /console", "GET /events"}) {
        const Answer refused = page.request(steering, "v");
        EXPECT_EQ(refused.status, 409) << steering;
        EXPECT_THAT(refused.body, StartsWith("a recording is shown")) << steering;
    }
    EXPECT_EQ(page.request("GET /").status, 200);
    page.signal(SIGTERM);
    EXPECT_EQ(page.finish(), 128 + SIGTERM);
}

TEST(Page, RealClockWhatCameOverHttpAndMqttIsReplayed) {
    Broker broker;
    broker.start();
    const Camera camera(Positions{});
    Page page({"--clock", "real", "--speed", "4", "--trace", "--state", camera.pathOf("/.."),
               "--name", "cam7", "--mqtt", "mqtt://127.0.0.1:" + std::to_string(broker.port)});
    Client(broker, "kestrel/cam7/state").readTo("kestrel/cam7/state online");
    Client client(broker, "kestrel/cam7/bus/#");
    client.publish("kestrel/cam7/set/lens/camN/zoom", "a:1400");
    client.readTo("kestrel/cam7/bus/lens/camN/position_zoom 1400");
    page.request("PUT /bus/lens.camN.pan", "r:300");
    client.readTo("kestrel/cam7/bus/lens/camN/panstatus stop");
    page.console("run 1\nquit");
    std::string output;
    EXPECT_EQ(page.finish(&output), 0);
    EXPECT_THAT(output, AllOf(HasSubstr(" cmd lens.camN.zoom a:1400\n"),
                              HasSubstr(" cmd lens.camN.pan r:300\n")));
    const Session compared = camera.replay(output, {"--compare"});
    EXPECT_EQ(compared.status, 0) << compared.output << output;
}

}  // namespace
