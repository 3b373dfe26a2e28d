#include "broker.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <mqtt_protocol.h>
#include <netinet/in.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <utility>

namespace {

constexpr int kPatience = 30'000;  // milliseconds

// A loopback port that nobody has at the moment.
int freePort() {
    const int probe = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const plain = reinterpret_cast<sockaddr*>(&address);
    EXPECT_EQ(bind(probe, plain, size), 0);
    EXPECT_EQ(getsockname(probe, plain, &size), 0);
    close(probe);
    return ntohs(address.sin_port);
}

}  // namespace

std::string readSource(const std::string& path) {
    std::ifstream stream(std::string(KESTREL_SOURCE_DIR) + "/" + path);
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::string replaced(std::string text, const std::string& word, const std::string& value) {
    for (std::size_t at = 0; (at = text.find(word, at)) != std::string::npos; at += value.size()) {
        text.replace(at, word.size(), value);
    }
    return text;
}

Process::Process(const std::vector<std::string>& arguments) {
    std::array<int, 2> input{};
    std::array<int, 2> output{};
    EXPECT_EQ(pipe2(input.data(), O_CLOEXEC), 0);
    EXPECT_EQ(pipe2(output.data(), O_CLOEXEC), 0);
    std::vector<char*> argv;
    for (const std::string& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output[1], STDERR_FILENO);
    EXPECT_EQ(posix_spawn(&child_, argv[0], &actions, nullptr, argv.data(), environ), 0) << argv[0];
    posix_spawn_file_actions_destroy(&actions);
    close(input[0]);
    close(output[1]);
    input_ = input[1];
    output_ = output[0];
}

Process::~Process() {
    close(input_);
    close(output_);
    if (child_ != 0) {
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
    }
}

void Process::write(const std::string& text) const {
    EXPECT_EQ(::write(input_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

void Process::signal(int number) const {
    kill(child_, number);
}

bool Process::readMore(std::chrono::steady_clock::time_point deadline) {
    const auto rest =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    pollfd source = {output_, POLLIN, 0};
    if (rest.count() <= 0 || poll(&source, 1, static_cast<int>(rest.count())) <= 0) {
        ADD_FAILURE() << "nothing more comes after:\n" << text_;
        return false;
    }
    std::array<char, 4096> part{};
    const ssize_t count = read(output_, part.data(), part.size());
    text_.append(part.data(), static_cast<std::size_t>(count > 0 ? count : 0));
    return count > 0;
}

std::string Process::readTo(const std::string& text) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kPatience);
    std::size_t at = 0;
    while ((at = text_.find(text, found_)) == std::string::npos) {
        if (!readMore(deadline)) {
            ADD_FAILURE() << "'" << text << "' does not come after:\n" << text_;
            return text_;
        }
    }
    found_ = at + text.size();
    return text_.substr(0, found_);
}

std::string Process::finish() {
    close(std::exchange(input_, -1));
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kPatience);
    while (readMore(deadline)) {
    }
    int result = 0;
    waitpid(std::exchange(child_, 0), &result, 0);
    status = WIFEXITED(result) ? WEXITSTATUS(result) : 128 + WTERMSIG(result);
    return text_;
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
    : client_(mosquitto_new(nullptr, true, this)) {
    mosquitto_int_option(client_, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
    mosquitto_int_option(client_, MOSQ_OPT_TCP_NODELAY, 1);
    mosquitto_connect_v5_callback_set(client_, onConnect);
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
    const auto patience = std::chrono::milliseconds(kPatience);
    EXPECT_TRUE(changed_.wait_for(lock, patience, [this] { return subscribed_; }));
    subscribed_ = false;
    lock.unlock();
    EXPECT_EQ(mosquitto_subscribe_v5(client_, nullptr, subscription.c_str(), 2,
                                     MQTT_SUB_OPT_RETAIN_AS_PUBLISHED, nullptr),
              MOSQ_ERR_SUCCESS);
    lock.lock();
    EXPECT_TRUE(changed_.wait_for(lock, patience, [this] { return subscribed_; }));
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
    mosquitto_property* properties = nullptr;
    if (!set.answerTopic.empty()) {
        mosquitto_property_add_string(&properties, MQTT_PROP_RESPONSE_TOPIC,
                                      set.answerTopic.c_str());
        mosquitto_property_add_binary(&properties, MQTT_PROP_CORRELATION_DATA,
                                      set.correlation.data(),
                                      static_cast<std::uint16_t>(set.correlation.size()));
    }
    int id = 0;
    EXPECT_EQ(mosquitto_publish_v5(client_, &id, topic.c_str(), static_cast<int>(payload.size()),
                                   payload.data(), 2, set.retained, properties),
              MOSQ_ERR_SUCCESS);
    mosquitto_property_free_all(&properties);
    std::unique_lock lock(mutex_);
    EXPECT_TRUE(changed_.wait_for(lock, std::chrono::milliseconds(kPatience), [&] {
        return published_.contains(id);
    })) << topic;
    return published_[id];
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
    const bool good = changed_.wait_for(lock, std::chrono::milliseconds(kPatience), come);
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
    std::vector<std::string> result = {KESTREL_TWIN_PATH,
                                       "--clock",
                                       "real",
                                       "--speed",
                                       "10",
                                       "--trace",
                                       "--quiet",
                                       "--state",
                                       camera.pathOf("/.."),
                                       "--mqtt",
                                       "mqtt://127.0.0.1:" + std::to_string(broker.port),
                                       "--name",
                                       "cam7"};
    result.insert(result.end(), more.begin(), more.end());
    return result;
}

Head::Head(const Broker& broker, const std::vector<std::string>& more)
    : process(arguments(broker, more)) {}

std::vector<std::string> Head::ask(const std::string& command) {
    const std::string end = "= no.such.key absent\n";
    process.write("get no.such.key\n");
    const std::size_t begin = process.readTo(end).size();
    process.write(command + "\nget no.such.key\n");
    std::istringstream text(process.readTo(end).substr(begin));
    std::vector<std::string> answers;
    for (std::string line; std::getline(text, line);) {
        if (line.starts_with("= ") && line + "\n" != end) {
            answers.push_back(line.substr(2));
        }
    }
    return answers;
}

int Head::countOf(const std::string& set) {
    process.write("quit\n");
    std::istringstream text(process.finish());
    int count = 0;
    for (std::string line; std::getline(text, line);) {
        const std::optional<Event> event = readEvent(line);
        count += event && event->line() == "cmd " + set ? 1 : 0;
    }
    return count;
}

std::vector<std::string> keptBelow(const Broker& broker, const std::string& topic) {
    Client client(broker, topic + "/#");
    client.publish(topic + "/marker", "");
    std::vector<std::string> lines = client.readTo(topic + "/marker ");
    lines.pop_back();
    return lines;
}
