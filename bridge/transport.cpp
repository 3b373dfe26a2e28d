#include "bridge/transport.h"

#include <mqtt_protocol.h>
#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <fstream>
#include <optional>
#include <random>

#include "bridge/backoff.h"

namespace bridge {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kKeepAlive = 10;  // seconds
// libmosquitto ends a connection whose broker sends one message more ahead than it has been told,
// and counts otherwise than brokers do. So it is told the most; the broker keeps a limit of its
// own.
constexpr int kMostAhead = 65'535;
constexpr int kLargestPacket = 1 << 20;  // bytes; the broker keeps larger ones to itself

std::atomic<bool> gAwake{false};
std::atomic<bool> gEndRequested{false};

int wakeDescriptor() {
    static const int descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    return descriptor;
}

void takeWakeUp() {
    eventfd_t ignored = 0;
    eventfd_read(wakeDescriptor(), &ignored);
    gAwake = false;
}

// Waits so long, or until requestEnd is called.
void waitForEnd(std::chrono::milliseconds time) {
    const Clock::time_point until = Clock::now() + time;
    while (!gEndRequested && Clock::now() < until) {
        const auto rest = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now());
        pollfd source = {wakeDescriptor(), POLLIN, 0};
        poll(&source, 1, static_cast<int>(rest.count()));
        takeWakeUp();
    }
}

// A key with a pass phrase must not stop the program to ask for it.
int noPassPhrase(char*, int, int, void*) {
    return 0;
}

// The first line of the file; none, with the reason, if there is none.
std::optional<std::string> readPassword(const std::string& file, std::string& problem) {
    std::string password;
    if (!std::getline(std::ifstream(file), password) || password.empty()) {
        problem = "no password in " + file + "; check --mqtt-password-file";
        return std::nullopt;
    }
    return password;
}

const char* orNull(const std::string& text) {
    return text.empty() ? nullptr : text.c_str();
}

int useCredentials(mosquitto* client, const Options& options, std::string& problem) {
    if (!options.user.empty()) {
        std::optional<std::string> password = "";
        if (!options.passwordFile.empty()) {
            password = readPassword(options.passwordFile, problem);
        }
        if (!password) {
            return MOSQ_ERR_SUCCESS;
        }
        const int result =
            mosquitto_username_pw_set(client, options.user.c_str(), orNull(*password));
        if (result != MOSQ_ERR_SUCCESS) {
            return result;
        }
    }
    if (!options.tls) {
        return MOSQ_ERR_SUCCESS;
    }
    const bool named = !options.caFile.empty();
    return mosquitto_tls_set(client, orNull(options.caFile), named ? nullptr : "/etc/ssl/certs",
                             orNull(options.certificateFile), orNull(options.keyFile),
                             noPassPhrase);
}

}  // namespace

int prepareClient(mosquitto* client, const Options& options, std::string& problem) {
    mosquitto_int_option(client, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
    mosquitto_int_option(client, MOSQ_OPT_TCP_NODELAY, 1);
    mosquitto_int_option(client, MOSQ_OPT_RECEIVE_MAXIMUM, kMostAhead);
    mosquitto_int_option(client, MOSQ_OPT_SEND_MAXIMUM, kMostUnconfirmed);
    return useCredentials(client, options, problem);
}

int connectClient(mosquitto* client, const Options& options) {
    mosquitto_property* properties = nullptr;
    mosquitto_property_add_int32(&properties, MQTT_PROP_MAXIMUM_PACKET_SIZE, kLargestPacket);
    mosquitto_property_add_int16(&properties, MQTT_PROP_RECEIVE_MAXIMUM, kMostAhead);
    errno = 0;
    const int result = mosquitto_connect_bind_v5(client, options.host.c_str(), options.port,
                                                 kKeepAlive, nullptr, properties);
    const int error = errno;
    mosquitto_property_free_all(&properties);
    errno = error;
    return result;
}

int exchange(mosquitto* client) {
    const short wanted = mosquitto_want_write(client) ? POLLIN | POLLOUT : POLLIN;
    std::array<pollfd, 2> sources = {
        {{mosquitto_socket(client), wanted, 0}, {wakeDescriptor(), POLLIN, 0}}};
    poll(sources.data(), sources.size(), 1000);
    if (sources[1].revents != 0) {
        takeWakeUp();
    }
    int result = MOSQ_ERR_SUCCESS;
    if ((sources[0].revents & (POLLIN | POLLERR | POLLHUP)) != 0) {
        result = mosquitto_loop_read(client, 1);
    }
    if (result == MOSQ_ERR_SUCCESS && mosquitto_want_write(client)) {
        result = mosquitto_loop_write(client, 1);
    }
    return result == MOSQ_ERR_SUCCESS ? mosquitto_loop_misc(client) : result;
}

void wake() {
    if (!gAwake.exchange(true)) {
        eventfd_write(wakeDescriptor(), 1);
    }
}

void requestEnd() {
    gEndRequested = true;
    wake();
}

bool endRequested() {
    return gEndRequested;
}

void serveConnections(const std::function<int()>& serve) {
    // Signals are the program's, and a broken TLS connection is no reason to die.
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
    std::minstd_rand random{std::random_device{}()};
    std::uniform_real_distribution chance(0.0, 1.0);
    while (!gEndRequested) {
        const int failures = serve();
        waitForEnd(pauseAfter(failures, chance(random)));
    }
}

}  // namespace bridge
