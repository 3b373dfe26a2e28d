#include "bridge/incoming.h"

#include <mosquitto.h>

#include <algorithm>
#include <array>

#include "bridge/outgoing.h"
#include "bridge/topics.h"

namespace bridge {

namespace {

// Response topic and correlation data together, in bytes.
constexpr std::size_t kLongestAnswerAddress = 1024;

struct Set {
    std::string_view levels;  // of the topic, behind set/
    std::string key;
    std::string_view value;
    bool retained;
};

// Each returns why the set is refused; empty if nothing speaks against it.

std::string refuseRetained(const Set& set) {
    return set.retained ? "retained, and a command must not be kept; publish it without retain"
                        : "";
}

std::string refuseNoKey(const Set& set) {
    return set.levels.empty() ? "no key" : "";
}

// A rule of the broker about who may set what must not be passed by writing the key another way.
std::string refuseDots(const Set& set) {
    return set.levels.find('.') != std::string_view::npos
               ? "a dot in the topic; a key's dots are slashes there"
               : "";
}

std::string tooLong(const char* what, std::size_t size) {
    return size <= kLongestBusText
               ? ""
               : std::string(what) + " of " + std::to_string(size) + " bytes, at most " +
                     std::to_string(kLongestBusText) + " are taken";
}

std::string refuseLongKey(const Set& set) {
    return tooLong("key", set.key.size());
}

std::string refuseForeignKey(const Set& set) {
    return isForwarded(set.key) ? "" : "of no forwarded family, accepted: " + familyList(", ");
}

std::string refuseLongValue(const Set& set) {
    return tooLong("value", set.value.size());
}

std::string refuseNul(const Set& set) {
    return set.value.find('\0') != std::string_view::npos ? "a NUL byte in the value" : "";
}

std::string refuseOneTooMany(const Set& set) {
    return hasRoomFor(set.key) ? "" : "a new key, and the bus holds too many already";
}

constexpr std::array kRefusals = {refuseRetained,   refuseNoKey,     refuseDots, refuseLongKey,
                                  refuseForeignKey, refuseLongValue, refuseNul,  refuseOneTooMany};

std::string refusalOf(const Set& set) {
    for (const auto refusal : kRefusals) {
        if (std::string reason = refusal(set); !reason.empty()) {
            return reason;
        }
    }
    return {};
}

// Why nobody can be answered there; empty if somebody can.
std::string answerProblem(const Incoming& message) {
    if (message.answerTopic.size() + message.correlation.size() > kLongestAnswerAddress) {
        return "response topic and correlation data are too long";
    }
    // The head may publish there, and who asks perhaps may not.
    if (isHeadsTopic(message.answerTopic)) {
        return "the response topic is a head's own";
    }
    return mosquitto_pub_topic_check(message.answerTopic.c_str()) == MOSQ_ERR_SUCCESS
               ? ""
               : "the response topic is none";
}

void answerTo(const Incoming& message, const std::string& text) {
    if (message.answerTopic.empty()) {
        return;
    }
    if (const std::string problem = answerProblem(message); !problem.empty()) {
        noteError(printable(message.topic) + ": no answer: " + problem);
        return;
    }
    noteMessage({message.answerTopic, text, message.correlation, false, nullptr, 0});
}

void takeSet(const Incoming& message, std::string_view levels, const Bus& bus) {
    const Set set{levels, keyOf(levels), message.payload, message.retained};
    std::string problem = refusalOf(set);
    if (problem.empty() && bus.set(set.key.c_str(), std::string(set.value).c_str()) != 0) {
        problem = "the bus does not take it";
    }
    if (!problem.empty()) {
        noteError(printable(message.topic) + ": refused: " + problem);
    }
    // Nor is it to be found there by whoever comes next.
    if (message.retained && !message.payload.empty()) {
        putRight(message.topic);
    }
    answerTo(message, problem.empty() ? "ok" : problem);
}

}  // namespace

void takeIncoming(const Incoming& message, const Bus& bus) {
    constexpr std::string_view kSet = "set/";
    const std::string_view levels = ownLevels(message.topic);
    if (levels == "set" || levels.starts_with(kSet)) {
        takeSet(message, levels.substr(std::min(kSet.size(), levels.size())), bus);
    } else if (message.retained && keptOn(message.topic) != message.payload) {
        putRight(message.topic);
        // Before that, it was most likely the head itself in an earlier life.
        if (isStateTold()) {
            noteError(printable(message.topic) + ": somebody else has published there; put right");
        }
    }
}

}  // namespace bridge
