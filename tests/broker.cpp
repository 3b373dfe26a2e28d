#include "broker.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <mqtt_protocol.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <set>
#include <utility>

#include "paths.h"

int freePort() {
    // Below what outgoing connections are given: while a broker is away nobody takes its port, not
    // even who tries to connect to it.
    constexpr unsigned kFirst = 20'000;
    constexpr unsigned kLast = 32'000;
    static std::atomic<unsigned> next{std::random_device{}()};
    for (unsigned i = kFirst; i < kLast; ++i) {
        const unsigned port = kFirst + next++ % (kLast - kFirst);
        const int probe = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const bool isFree = bind(probe, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
        close(probe);
        if (isFree) {
            return static_cast<int>(port);
        }
    }
    ADD_FAILURE() << "no free port";
    return 0;
}

std::string replaced(std::string text, const std::string& word, const std::string& value) {
    for (std::size_t at = 0; (at = text.find(word, at)) != std::string::npos; at += value.size()) {
        text.replace(at, word.size(), value);
    }
    return text;
}

Broker::Broker(std::string configuration)
    : port(freePort()), configuration_(std::move(configuration)) {
    std::string pattern = std::filesystem::temp_directory_path().string() + "/kestrel-mqtt-XXXXXX";
    EXPECT_NE(mkdtemp(pattern.data()), nullptr);
    directory = pattern;
    if (configuration_.empty()) {
        configuration_ = replaced(readSource("packaging/mosquitto/bench.conf"), "listener 1883",
                                  "listener @PORT@");
    }
}

Broker::~Broker() {
    delete process_;
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
}

void Broker::start() {
    std::ofstream(pathOf("broker.conf")) << replaced(
        replaced(configuration_, "@PORT@", std::to_string(port)), "@DIRECTORY@", directory);
    process_ = new Process({"/usr/sbin/mosquitto", "-c", pathOf("broker.conf")});
    process_->readTo(" running\n");
}

void Broker::kill() {
    process_->signal(SIGKILL);
    process_->finish();
    delete std::exchange(process_, nullptr);
}

Client::Client(const Broker& broker, const std::string& subscription, const Account& account)
    : client_(mosquitto_new(account.id.empty() ? nullptr : account.id.c_str(), true, this)) {
    mosquitto_int_option(client_, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
    mosquitto_int_option(client_, MOSQ_OPT_TCP_NODELAY, 1);
    mosquitto_int_option(client_, MOSQ_OPT_RECEIVE_MAXIMUM, 65'535);
    mosquitto_connect_v5_callback_set(client_, onConnect);
    mosquitto_disconnect_v5_callback_set(client_, onDisconnect);
    mosquitto_subscribe_v5_callback_set(client_, onSubscribe);
    mosquitto_publish_v5_callback_set(client_, onPublish);
    mosquitto_message_v5_callback_set(client_, onMessage);
    if (!account.user.empty()) {
        mosquitto_username_pw_set(client_, account.user.c_str(), account.password.c_str());
    }
    if (!account.caFile.empty()) {
        mosquitto_tls_set(client_, account.caFile.c_str(), nullptr, nullptr, nullptr, nullptr);
    }
    EXPECT_EQ(mosquitto_connect(client_, "localhost", broker.port, 60), MOSQ_ERR_SUCCESS);
    EXPECT_EQ(mosquitto_loop_start(client_), MOSQ_ERR_SUCCESS);
    std::unique_lock lock(mutex_);
    EXPECT_TRUE(changed_.wait_for(lock, kPatience, [this] { return subscribed_; }));
    subscribed_ = false;
    lock.unlock();
    EXPECT_EQ(mosquitto_subscribe_v5(client_, nullptr, subscription.c_str(), 2,
                                     MQTT_SUB_OPT_RETAIN_AS_PUBLISHED, nullptr),
              MOSQ_ERR_SUCCESS);
    lock.lock();
    EXPECT_TRUE(changed_.wait_for(lock, kPatience, [this] { return subscribed_; }));
}

Client::~Client() {
    mosquitto_disconnect(client_);
    mosquitto_loop_stop(client_, false);
    mosquitto_destroy(client_);
}

int Client::publish(const std::string& topic, const std::string& payload) {
    return publish(topic, payload, Set{});
}

int Client::publish(const std::string& topic, const std::string& payload, const Set& set) {
    const int id = send(topic, payload, set);
    std::unique_lock lock(mutex_);
    EXPECT_TRUE(changed_.wait_for(lock, kPatience, [&] { return published_.contains(id); }))
        << topic;
    return published_[id];
}

int Client::send(const std::string& topic, const std::string& payload, const Set& set) {
    mosquitto_property* properties = nullptr;
    if (!set.answerTopic.empty()) {
        mosquitto_property_add_string(&properties, MQTT_PROP_RESPONSE_TOPIC,
                                      set.answerTopic.c_str());
        mosquitto_property_add_binary(&properties, MQTT_PROP_CORRELATION_DATA,
                                      set.correlation.data(),
                                      static_cast<std::uint16_t>(set.correlation.size()));
    }
    int id = 0;
    mosquitto_publish_v5(client_, &id, topic.c_str(), static_cast<int>(payload.size()),
                         payload.data(), 2, set.retained, properties);
    mosquitto_property_free_all(&properties);
    return id;
}

void Client::flood(const std::string& topic, int count) {
    int id = 0;
    for (int i = 1; i <= count; ++i) {
        const std::string number = std::to_string(i);
        EXPECT_EQ(mosquitto_publish(client_, &id, topic.c_str(), static_cast<int>(number.size()),
                                    number.data(), 2, false),
                  MOSQ_ERR_SUCCESS);
    }
    std::unique_lock lock(mutex_);
    EXPECT_TRUE(changed_.wait_for(lock, kPatience, [&] { return published_.contains(id); }))
        << published_.size() << " of " << count;
}

std::vector<std::string> Client::readTo(const std::string& line) {
    std::unique_lock lock(mutex_);
    std::size_t at = found_;
    const auto come = [&] {
        while (at < received_.size() && received_[at].line() != line) {
            ++at;
        }
        return at < received_.size();
    };
    std::vector<std::string> lines;
    const bool good = changed_.wait_for(lock, kPatience, come);
    for (std::size_t i = found_; i < std::min(at + 1, received_.size()); ++i) {
        lines.push_back(received_[i].line());
    }
    EXPECT_TRUE(good) << "'" << line << "' does not come after:\n" << testing::PrintToString(lines);
    found_ = std::min(at + 1, received_.size());
    return lines;
}

std::vector<Received> Client::received() {
    const std::lock_guard lock(mutex_);
    return received_;
}

void Client::onConnect(mosquitto*, void* object, int reason, int, const mosquitto_property*) {
    EXPECT_EQ(reason, 0);
    Client& self = *static_cast<Client*>(object);
    const std::lock_guard lock(self.mutex_);
    self.subscribed_ = true;
    self.changed_.notify_all();
}

void Client::onDisconnect(mosquitto* client, void*, int, const mosquitto_property*) {
    mosquitto_disconnect(client);
}

void Client::onSubscribe(mosquitto*, void* object, int, int, const int*,
                         const mosquitto_property*) {
    onConnect(nullptr, object, 0, 0, nullptr);
}

void Client::onPublish(mosquitto*, void* object, int id, int reason, const mosquitto_property*) {
    Client& self = *static_cast<Client*>(object);
    const std::lock_guard lock(self.mutex_);
    self.published_[id] = reason;
    self.changed_.notify_all();
}

void Client::onMessage(mosquitto*, void* object, const mosquitto_message* message,
                       const mosquitto_property* properties) {
    Client& self = *static_cast<Client*>(object);
    void* data = nullptr;
    std::uint16_t size = 0;
    mosquitto_property_read_binary(properties, MQTT_PROP_CORRELATION_DATA, &data, &size, false);
    const std::lock_guard lock(self.mutex_);
    self.received_.push_back({message->topic,
                              {static_cast<const char*>(message->payload),
                               static_cast<std::size_t>(message->payloadlen)},
                              message->retain,
                              {static_cast<const char*>(data), size}});
    std::free(data);
    self.changed_.notify_all();
}

std::vector<std::string> Head::arguments(const Broker& broker,
                                         const std::vector<std::string>& more) {
    std::vector<std::string> result =
        wordsOf("--clock real --speed 10 --trace --quiet --state " + camera.pathOf("/..") +
                " --mqtt mqtt://127.0.0.1:" + std::to_string(broker.port) + " --name cam7");
    result.insert(result.begin(), kTwinProgram);
    result.insert(result.end(), more.begin(), more.end());
    return result;
}

Head::Head(const Broker& broker, const std::vector<std::string>& more)
    : process(arguments(broker, more)) {}

std::vector<std::string> Head::ask(const std::string& command) {
    const std::string end = "= no.such.key absent\n";
    process.write("get no.such.key\n" + command + "\nget no.such.key\n");
    process.readTo(end);
    std::vector<std::string> answers;
    for (const std::string& line : linesOf(process.readOn(end))) {
        if (line.starts_with("= ") && line + "\n" != end) {
            answers.push_back(line.substr(2));
        }
    }
    return answers;
}

std::vector<std::string> Head::toBeKept() {
    static const std::set<std::string> kWords = {
        "lens.camN.pan",    "lens.camN.tilt",  "lens.camN.rotate",           "lens.camN.zoom",
        "lens.camN.focus",  "lens.camN.iris",  "lens.camN.act_preset",       "lens.camN.action.cmd",
        "lens.camN.status", "demo.ptz.action", "system.camN.action.fwupdate"};
    std::vector<std::string> kept;
    for (std::string line : ask("keys")) {
        const std::size_t end = line.find(' ');
        std::string key = line.substr(0, end);
        if (key.find('.') != std::string::npos && !kWords.contains(key) && line.size() > end + 1) {
            std::replace(key.begin(), key.end(), '.', '/');
            kept.push_back("kestrel/cam7/bus/" + key + line.substr(end));
        }
    }
    return kept;
}

std::vector<std::string> Head::setsOf(const std::string& key) {
    process.write("quit\n");
    std::vector<std::string> values;
    for (const std::string& line : linesOf(process.finish())) {
        const std::optional<Event> event = readEvent(line);
        if (event && event->line().starts_with("cmd " + key + " ")) {
            values.push_back(event->text.substr(key.size() + 1));
        }
    }
    return values;
}

std::vector<std::string> keptBelow(const Broker& broker, const std::string& topic) {
    Client client(broker, topic + "/#");
    client.publish(topic + "/marker", "");
    client.readTo(topic + "/marker ");
    // What passes by meanwhile comes, too; the last of a topic is what is kept.
    std::map<std::string, std::string> kept;
    for (const Received& message : client.received()) {
        if (message.retained) {
            kept[message.topic] = message.payload;
        }
    }
    std::vector<std::string> lines;
    for (const auto& [name, payload] : kept) {
        if (!payload.empty()) {
            lines.push_back(name + " " + payload);
        }
    }
    return lines;
}

std::vector<std::string> withoutPower(std::vector<std::string> lines) {
    std::erase_if(lines, [](const std::string& line) {
        return line.find("/power_consumption ") != std::string::npos;
    });
    return lines;
}
