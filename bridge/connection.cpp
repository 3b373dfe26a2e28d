#include "bridge/connection.h"

#include <mosquitto.h>
#include <mqtt_protocol.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <deque>
#include <iterator>
#include <optional>
#include <utility>
#include <vector>

#include "bridge/incoming.h"
#include "bridge/outgoing.h"
#include "bridge/reasons.h"
#include "bridge/topics.h"
#include "bridge/transport.h"

namespace bridge {

namespace {

using Clock = std::chrono::steady_clock;

// How long the broker may take to accept the connection, and an end in good order may take.
constexpr std::chrono::seconds kPatience{10};
constexpr std::chrono::seconds kFarewell{1};

enum class Phase {
    connecting,   // until the broker has accepted
    subscribing,  // until it has granted all subscriptions
    telling,      // the whole state
    confirming,   // until the broker has all of it
    online,
    leaving,  // until it has `offline`
    gone,
};

struct Unconfirmed {
    int id;
    Message message;
};

// The connection that there is.
struct Link {
    mosquitto* client = nullptr;
    const Bus* bus = nullptr;
    void (*online)(bool rival) = nullptr;
    Phase phase = Phase::connecting;
    Clock::time_point deadline;
    int grantsAwaited = 0;
    int marker = 0;  // the message whose confirmation ends the phase
    std::deque<Unconfirmed> unconfirmed;
    std::string lastLogged;
    bool certified = false;  // the head has a certificate of its own
    bool ended = false;
    std::string forbidden;  // the first message that the broker did not take, and why
    Ending ending;
};

// The head has been online since the program started.
bool gSeen = false;

void end(Link& link, const std::string& reason) {
    if (!std::exchange(link.ended, true)) {
        link.ending.reason = reason;
    }
}

// Judges the result of a call of libmosquitto.
void judge(Link& link, int result) {
    if (result != MOSQ_ERR_SUCCESS) {
        end(link, failureText({result, errno, link.lastLogged, link.phase == Phase::connecting,
                               link.certified}));
    }
}

// Hands a message over; it waits for its confirmation then. Returns its number.
int publish(Link& link, Message message) {
    mosquitto_property* properties = nullptr;
    if (!message.correlation.empty()) {
        mosquitto_property_add_binary(&properties, MQTT_PROP_CORRELATION_DATA,
                                      message.correlation.data(),
                                      static_cast<std::uint16_t>(message.correlation.size()));
    }
    int id = 0;
    const int result = mosquitto_publish_v5(
        link.client, &id, message.topic.c_str(), static_cast<int>(message.payload.size()),
        message.payload.data(), 1, message.retained, properties);
    mosquitto_property_free_all(&properties);
    if (result == MOSQ_ERR_INVAL || result == MOSQ_ERR_MALFORMED_UTF8 ||
        result == MOSQ_ERR_OVERSIZE_PACKET) {
        return 0;  // it is the message that cannot be sent
    }
    link.unconfirmed.push_back({id, std::move(message)});
    judge(link, result);
    return id;
}

int publishState(Link& link, const char* text) {
    keepOn(topicOf("state"), text);
    return publish(link, {topicOf("state"), text, {}, true, nullptr, 0});
}

void subscribe(Link& link, const std::vector<std::string>& topics, int quality, int options) {
    std::vector<char*> list;
    list.reserve(topics.size());
    for (const std::string& topic : topics) {
        list.push_back(const_cast<char*>(topic.c_str()));
    }
    judge(link, mosquitto_subscribe_multiple(link.client, nullptr, static_cast<int>(list.size()),
                                             list.data(), quality, options, nullptr));
    ++link.grantsAwaited;
}

constexpr int kForeign = MQTT_SUB_OPT_NO_LOCAL | MQTT_SUB_OPT_RETAIN_AS_PUBLISHED;

// What is kept on the head's own topics comes in, and from then on what strangers publish there.
void hearOwnTopics(Link& link) {
    subscribe(link, {topicOf("bus/#"), topicOf("state"), topicOf("info"), topicOf("error")}, 1,
              kForeign);
}

// The callbacks run on the bridge's thread, inside mosquitto_loop_read.

void onConnect(mosquitto*, void* object, int reason, int, const mosquitto_property*) {
    Link& link = *static_cast<Link*>(object);
    if (reason != MQTT_RC_SUCCESS) {
        end(link, reasonText(reason));
        return;
    }
    link.phase = Phase::subscribing;
    link.deadline = Clock::now() + kPatience;
    publishState(link, "offline");
    hearOwnTopics(link);
    subscribe(link, {topicOf("set/#")}, 2, kForeign | MQTT_SUB_OPT_SEND_RETAIN_NEVER);
}

void onDisconnect(mosquitto*, void* object, int reason, const mosquitto_property*) {
    Link& link = *static_cast<Link*>(object);
    if (reason >= MQTT_RC_UNSPECIFIED) {
        link.ending.rival = link.ending.rival || reason == MQTT_RC_SESSION_TAKEN_OVER;
        end(link, reasonText(reason));
    }
}

void onSubscribe(mosquitto*, void* object, int, int count, const int* granted,
                 const mosquitto_property*) {
    Link& link = *static_cast<Link*>(object);
    const bool refused = std::any_of(granted, granted + count,
                                     [](int quality) { return quality >= MQTT_RC_UNSPECIFIED; });
    if (refused) {
        end(link,
            "the broker does not let the head hear its own topics; check the account's rights");
    } else if (--link.grantsAwaited == 0 && link.phase == Phase::subscribing) {
        link.phase = Phase::telling;
        beginState();
    }
}

void tellForbidden(const Link& link) {
    if (!link.forbidden.empty()) {
        noteError(link.forbidden);
    }
}

// Of all that the broker does not take the first is told, once others can hear of it.
void noteForbidden(Link& link, const std::string& topic, int reason) {
    if (link.forbidden.empty()) {
        link.forbidden =
            printable(topic) + ": the broker does not take it: " + mosquitto_reason_string(reason);
        if (link.phase >= Phase::online) {
            tellForbidden(link);
        }
    }
}

void onConfirmed(mosquitto*, void* object, int id, int reason, const mosquitto_property*) {
    Link& link = *static_cast<Link*>(object);
    const auto found = std::find_if(link.unconfirmed.begin(), link.unconfirmed.end(),
                                    [id](const Unconfirmed& message) { return message.id == id; });
    if (found == link.unconfirmed.end()) {
        return;
    }
    const bool refused = reason >= MQTT_RC_UNSPECIFIED;
    if (refused) {
        noteForbidden(link, found->message.topic, reason);
    }
    link.unconfirmed.erase(found);
    if (id != link.marker) {
        return;
    }
    if (link.phase == Phase::confirming && refused) {
        end(link, "the broker does not let the head tell its state; check the account's rights");
    } else if (link.phase == Phase::confirming) {
        publishState(link, "online");
        endState();
        link.phase = Phase::online;
        link.ending.wasOnline = true;
        gSeen = true;
        link.online(link.ending.rival);
        tellForbidden(link);
    } else if (link.phase == Phase::leaving) {
        link.phase = Phase::gone;
    }
}

void onMessage(mosquitto*, void* object, const mosquitto_message* message,
               const mosquitto_property* properties) {
    Link& link = *static_cast<Link*>(object);
    Incoming incoming;
    incoming.topic = message->topic;
    incoming.payload = {static_cast<const char*>(message->payload),
                        static_cast<std::size_t>(message->payloadlen)};
    incoming.retained = message->retain;
    // Not every broker says why it closes a connection: another head has told of itself meanwhile.
    if (gSeen && link.phase < Phase::online && incoming.topic == topicOf("info") &&
        !incoming.payload.empty() && incoming.payload != keptOn(incoming.topic)) {
        link.ending.rival = true;
    }
    char* topic = nullptr;
    if (mosquitto_property_read_string(properties, MQTT_PROP_RESPONSE_TOPIC, &topic, false) !=
        nullptr) {
        incoming.answerTopic = topic;
        std::free(topic);
    }
    void* data = nullptr;
    std::uint16_t size = 0;
    if (mosquitto_property_read_binary(properties, MQTT_PROP_CORRELATION_DATA, &data, &size,
                                       false) != nullptr) {
        incoming.correlation.assign(static_cast<const char*>(data), size);
        std::free(data);
    }
    takeIncoming(incoming, *link.bus);
}

void onLog(mosquitto*, void* object, int level, const char* text) {
    if (level == MOSQ_LOG_ERR || level == MOSQ_LOG_WARNING) {
        static_cast<Link*>(object)->lastLogged = text;
    }
}

// Gives the client everything but the connection.
void prepare(Link& link, const Options& options) {
    mosquitto* const client = link.client;
    mosquitto_connect_v5_callback_set(client, onConnect);
    mosquitto_disconnect_v5_callback_set(client, onDisconnect);
    mosquitto_subscribe_v5_callback_set(client, onSubscribe);
    mosquitto_publish_v5_callback_set(client, onConfirmed);
    mosquitto_message_v5_callback_set(client, onMessage);
    mosquitto_log_callback_set(client, onLog);
    constexpr std::string_view kWill = "offline";
    judge(link, mosquitto_will_set_v5(client, topicOf("state").c_str(), kWill.size(), kWill.data(),
                                      1, true, nullptr));
    std::string problem;
    judge(link, prepareClient(client, options, problem));
    if (!problem.empty()) {
        end(link, problem);
    }
}

void connect(Link& link, const Options& options) {
    link.deadline = Clock::now() + kPatience;
    judge(link, connectClient(link.client, options));
}

// Sends what waits, as far as the broker keeps up with it.
void sendWaiting(Link& link) {
    while (!link.ended && link.unconfirmed.size() < kMostUnconfirmed) {
        std::optional<Message> message = takeMessage();
        if (!message) {
            break;
        }
        publish(link, std::move(*message));
    }
}

// Begins the next phase if this one is at its end and no answer of the broker is needed for it.
void advance(Link& link) {
    const bool idle = link.unconfirmed.size() < kMostUnconfirmed;
    if (link.phase == Phase::telling && idle) {
        link.marker =
            publish(link, {topicOf("info"), keptOn(topicOf("info")), {}, true, nullptr, 0});
        link.phase = Phase::confirming;
    }
    // Not while a value of the head is on its way: the older one would look like a stranger's.
    if (link.phase == Phase::online && link.unconfirmed.empty() && takeLookAgain()) {
        hearOwnTopics(link);
    }
    if (endRequested() && link.phase == Phase::online && link.unconfirmed.empty()) {
        link.marker = publishState(link, "offline");
        link.phase = Phase::leaving;
    }
    if (link.phase == Phase::gone) {
        // Here and not in the callback, so that it is sent at once and the last will is not.
        mosquitto_disconnect(link.client);
        end(link, "");
    }
    const bool early = link.phase == Phase::connecting || link.phase == Phase::subscribing;
    if (early && Clock::now() > link.deadline) {
        end(link, "the broker accepts the connection and then does not answer");
    }
}

// Waits for the broker, for something to send or for a second, and does what there is to do.
void pass(Link& link) {
    const int result = exchange(link.client);
    if (!link.ended) {
        judge(link, result);
    }
    if (link.phase >= Phase::telling) {
        sendWaiting(link);
    }
    if (!link.ended) {
        advance(link);
    }
}

}  // namespace

Ending serveConnection(const Options& options, const Bus& bus, void (*online)(bool rival)) {
    Link link;
    link.bus = &bus;
    link.online = online;
    link.certified = !options.certificateFile.empty();
    // With a client of its own each connection begins from nothing: libmosquitto would otherwise
    // send again what a broken one has left, out of order with the state.
    std::string id = options.base + ":" + options.name;
    std::replace(id.begin(), id.end(), '/', '.');
    link.client = mosquitto_new(id.c_str(), true, &link);
    if (link.client == nullptr) {
        end(link, "no memory for a connection");
        return link.ending;
    }
    prepare(link, options);
    if (!link.ended) {
        connect(link, options);
    }
    Clock::time_point farewell = Clock::time_point::max();
    while (!link.ended) {
        pass(link);
        if (endRequested() && farewell == Clock::time_point::max()) {
            farewell = Clock::now() + kFarewell;
        }
        // Until the head has been told to be there it is told to be away.
        if (endRequested() && (link.phase < Phase::online || Clock::now() > farewell)) {
            end(link, "");
        }
    }
    std::vector<Message> unconfirmed;
    for (Unconfirmed& waiting : link.unconfirmed) {
        unconfirmed.push_back(std::move(waiting.message));
    }
    endLink(std::move(unconfirmed));
    mosquitto_destroy(link.client);
    return link.ending;
}

}  // namespace bridge
