#include "bridge/client/link.h"

#include <mosquitto.h>
#include <mqtt_protocol.h>
#include <semaphore.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <map>
#include <mutex>
#include <random>
#include <string_view>
#include <thread>
#include <utility>

#include "bridge/bus.h"
#include "bridge/client/environment.h"
#include "bridge/client/state.h"
#include "bridge/reasons.h"
#include "bridge/topics.h"
#include "bridge/transport.h"

namespace bridge::client {

namespace {

// How long the broker may take to accept the connection.
constexpr std::chrono::seconds kPatience{10};

// Never destroyed: the thread outlives main.
struct Shared {
    Options options;
    std::string broker;   // HOST:PORT
    std::string answers;  // the topic on which the camera answers this program
    sem_t ended{};
    std::mutex mutex;  // guards what follows
    Hindrance hindrance;
    std::string said;
    bool saying = false;
};

Shared& shared() {
    static auto& instance = *new Shared;
    return instance;
}

void say(const std::string& text) {
    std::fprintf(stderr, "nbus: %s: %s\n", shared().options.name.c_str(), text.c_str());
}

// Keeps why the camera is not there; empty: it is. The same reason is said once.
void note(const std::string& reason, bool final) {
    Shared& s = shared();
    const std::lock_guard lock(s.mutex);
    s.hindrance = {reason, final};
    if (s.saying && reason != s.said) {
        say(reason.empty() ? "there again" : reason + "; trying on");
    }
    s.said = reason;
}

// Keeps what is to be said if nothing else turns out.
void presume(const std::string& reason) {
    const std::lock_guard lock(shared().mutex);
    shared().hindrance = {reason, false};
}

// The connection that there is.
struct Link {
    mosquitto* client = nullptr;
    Clock::time_point deadline;
    bool accepted = false;  // by the broker
    bool complete = false;  // the camera is there with its whole state
    bool wasOnline = false;
    bool ended = false;
    bool refused = false;  // by the broker, for a reason that stays
    std::string reason;
    std::string lastLogged;
    int busGrant = 0;                     // the subscription of the bus
    int stateGrant = 0;                   // and that of the camera's state, which is told behind it
    std::map<int, unsigned> unconfirmed;  // own sets by MQTT's number
};

void end(Link& link, const std::string& reason) {
    if (!std::exchange(link.ended, true)) {
        link.reason = reason;
    }
}

void judge(Link& link, int result) {
    if (result != MOSQ_ERR_SUCCESS) {
        end(link, failureText({result, errno, link.lastLogged, !link.accepted,
                               !shared().options.certificateFile.empty()}));
    }
}

int subscribe(Link& link, const std::string& topic) {
    int id = 0;
    judge(link, mosquitto_subscribe_v5(link.client, &id, topic.c_str(), 2, 0, nullptr));
    return id;
}

void giveUpSets() {
    if (const std::size_t lost = leave(); lost > 0) {
        say(std::to_string(lost) + " sets were on their way and may be lost");
    }
}

// The callbacks run on the connection's thread, inside exchange().

void onConnect(mosquitto*, void* object, int reason, int, const mosquitto_property*) {
    Link& link = *static_cast<Link*>(object);
    if (reason != MQTT_RC_SUCCESS) {
        link.refused = true;
        end(link, reasonText(reason));
        return;
    }
    link.accepted = true;
    beginState();
    // An account without rights to it goes without answers.
    subscribe(link, shared().answers);
    link.busGrant = subscribe(link, topicOf("bus/#"));
}

void onDisconnect(mosquitto*, void* object, int reason, const mosquitto_property*) {
    if (reason >= MQTT_RC_UNSPECIFIED) {
        end(*static_cast<Link*>(object), reasonText(reason));
    }
}

void onSubscribe(mosquitto*, void* object, int id, int count, const int* granted,
                 const mosquitto_property*) {
    Link& link = *static_cast<Link*>(object);
    const bool refused = count < 1 || granted[0] >= MQTT_RC_UNSPECIFIED;
    if (id != link.busGrant && id != link.stateGrant) {
        return;
    }
    if (refused) {
        link.refused = true;
        end(link, "the broker does not let this account hear the camera; check its rights");
    } else if (id == link.busGrant) {
        // What is kept of the bus is on its way now, so that `online` comes behind all of it.
        link.stateGrant = subscribe(link, topicOf("state"));
    } else if (!link.complete) {
        presume("there is no camera " + shared().options.name + " at " + shared().broker +
                ", or this account must not see it; check KESTREL_NAME");
    }
}

void hearState(Link& link, std::string_view text) {
    const bool online = text == "online";
    if (online && !link.complete) {
        endState();
        note("", false);
    } else if (!online) {
        if (link.complete) {
            giveUpSets();
            beginState();
        }
        note("the camera is offline", false);
    }
    link.wasOnline = link.wasOnline || online;
    link.complete = online;
}

void hearKey(std::string_view levels, std::string_view value) {
    const std::string key = keyOf(levels);
    // Whatever a stranger publishes there, handlers get what the bus guarantees.
    const bool good = !key.empty() && key.size() <= kLongestBusText &&
                      value.size() <= kLongestBusText && value.find('\0') == std::string_view::npos;
    if (good) {
        hear(key, value);
    }
}

void hearAnswer(const std::string& correlation, std::string_view text) {
    unsigned number = 0;
    std::from_chars(correlation.data(), correlation.data() + correlation.size(), number);
    if (text == "ok") {
        acceptOwn(number);
    } else if (const std::string key = refuseOwn(number); !key.empty()) {
        say("set of " + printable(key) + " refused: " + printable(text));
    }
}

std::string correlationOf(const mosquitto_property* properties) {
    std::string result;
    void* data = nullptr;
    std::uint16_t size = 0;
    if (mosquitto_property_read_binary(properties, MQTT_PROP_CORRELATION_DATA, &data, &size,
                                       false) != nullptr) {
        result.assign(static_cast<const char*>(data), size);
        std::free(data);
    }
    return result;
}

void onMessage(mosquitto*, void* object, const mosquitto_message* message,
               const mosquitto_property* properties) {
    constexpr std::string_view kBus = "bus/";
    const std::string_view payload(static_cast<const char*>(message->payload),
                                   static_cast<std::size_t>(message->payloadlen));
    const std::string_view levels = ownLevels(message->topic);
    if (levels == "state") {
        hearState(*static_cast<Link*>(object), payload);
    } else if (levels.starts_with(kBus)) {
        hearKey(levels.substr(kBus.size()), payload);
    } else if (message->topic == shared().answers) {
        hearAnswer(correlationOf(properties), payload);
    }
}

void onConfirmed(mosquitto*, void* object, int id, int reason, const mosquitto_property*) {
    Link& link = *static_cast<Link*>(object);
    const auto found = link.unconfirmed.find(id);
    if (found == link.unconfirmed.end()) {
        return;
    }
    const unsigned number = found->second;
    link.unconfirmed.erase(found);
    if (reason < MQTT_RC_UNSPECIFIED) {
        confirmOwn(number);
    } else if (const std::string key = refuseOwn(number); !key.empty()) {
        say("set of " + printable(key) +
            ": the broker does not take it: " + mosquitto_reason_string(reason));
    }
}

void onLog(mosquitto*, void* object, int level, const char* text) {
    if (level == MOSQ_LOG_ERR || level == MOSQ_LOG_WARNING) {
        static_cast<Link*>(object)->lastLogged = text;
    }
}

void publish(Link& link, const OwnSet& set) {
    const std::string number = std::to_string(set.number);
    mosquitto_property* properties = nullptr;
    mosquitto_property_add_string(&properties, MQTT_PROP_RESPONSE_TOPIC, shared().answers.c_str());
    mosquitto_property_add_binary(&properties, MQTT_PROP_CORRELATION_DATA, number.data(),
                                  static_cast<std::uint16_t>(number.size()));
    int id = 0;
    const int result = mosquitto_publish_v5(link.client, &id, setTopic(set.key).c_str(),
                                            static_cast<int>(set.value.size()), set.value.data(), 2,
                                            false, properties);
    mosquitto_property_free_all(&properties);
    link.unconfirmed[id] = set.number;
    judge(link, result);
}

void sendOwn(Link& link) {
    while (!link.ended && link.unconfirmed.size() < kMostUnconfirmed) {
        const std::optional<OwnSet> set = nextOwn();
        if (!set) {
            break;
        }
        publish(link, *set);
    }
}

void begin(Link& link) {
    // With a client of its own each connection begins from nothing: libmosquitto would otherwise
    // send again what a broken one has left.
    link.client = mosquitto_new(nullptr, true, &link);
    link.deadline = Clock::now() + kPatience;
    if (link.client == nullptr) {
        end(link, "no memory for a connection");
        return;
    }
    mosquitto_connect_v5_callback_set(link.client, onConnect);
    mosquitto_disconnect_v5_callback_set(link.client, onDisconnect);
    mosquitto_subscribe_v5_callback_set(link.client, onSubscribe);
    mosquitto_publish_v5_callback_set(link.client, onConfirmed);
    mosquitto_message_v5_callback_set(link.client, onMessage);
    mosquitto_log_callback_set(link.client, onLog);
    std::string problem;
    judge(link, prepareClient(link.client, shared().options, problem));
    if (!problem.empty()) {
        end(link, problem);
    }
    if (!link.ended) {
        judge(link, connectClient(link.client, shared().options));
    }
}

void serve(Link& link) {
    begin(link);
    while (!link.ended) {
        const int result = exchange(link.client);
        if (!link.ended) {
            judge(link, result);
        }
        sendOwn(link);
        if (!link.accepted && Clock::now() > link.deadline) {
            end(link, "the broker accepts the connection and then does not answer");
        }
        if (endRequested()) {
            mosquitto_disconnect(link.client);
            end(link, "");
        }
    }
    giveUpSets();
    mosquitto_destroy(link.client);
}

void run() {
    int failures = 0;
    serveConnections([&failures] {
        Link link;
        serve(link);
        if (!endRequested()) {
            note(shared().broker + ": " + inServiceTerms(link.reason), link.refused);
        }
        return failures = link.wasOnline ? 1 : failures + 1;
    });
    sem_post(&shared().ended);
}

std::string answerTopic(const Options& options) {
    std::random_device random;
    return "answers/" + (options.user.empty() ? "nbus" : options.user) + "/" +
           std::to_string(random()) + std::to_string(random());
}

}  // namespace

void startLink(const Options& options) {
    Shared& s = shared();
    s.options = options;
    s.broker = options.host + ":" + std::to_string(options.port);
    s.answers = answerTopic(options);
    sem_init(&s.ended, 0, 0);
    mosquitto_lib_init();
    useTopics(options);
    std::thread(run).detach();
}

Hindrance hindrance() {
    const std::lock_guard lock(shared().mutex);
    return shared().hindrance;
}

void sayHindrances() {
    const std::lock_guard lock(shared().mutex);
    shared().saying = true;
}

void stopLink() {
    requestEnd();
    timespec limit{};
    clock_gettime(CLOCK_REALTIME, &limit);
    limit.tv_sec += 1;
    sem_timedwait(&shared().ended, &limit);
}

}  // namespace bridge::client
