// What is to be sent: the latest value of every forwarded key, and a queue of bounded length of
// what passed since. Filled by the bus's dispatcher and by the bridge's own thread, emptied by the
// latter; nobody waits for anybody. Memory is bounded whatever the bus and the broker do.
//
// While a link is up every set is queued in the bus's order. A key whose set finds the queue full
// is owed instead: its latest value goes out as soon as there is room, and what the queue still
// holds of it is passed over, so that its values never go out of order. When a link comes up every
// key is owed. Words that must not be told as a value are queued with or without a link; what does
// not fit is counted and told later.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace bridge {

struct Entry;  // what is known of a key

// One message to the broker.
struct Message {
    std::string topic;
    std::string payload;
    std::string correlation;  // MQTT's correlation data; empty for none
    bool retained = false;
    Entry* entry = nullptr;    // the key whose value it tells
    std::uint64_t number = 0;  // of a value, among all that were queued
};

// The most keys that are kept.
inline constexpr std::size_t kMostKeys = 8192;
// The most messages that wait.
inline constexpr std::size_t kMostWaiting = 4096;

// Has `wake` called whenever something begins to wait. Once, before the rest.
void useWakeUp(void (*wake)());

// Takes over what the bus held before it was listened to.
void noteKey(const char* key, const char* value);

// Somebody has set a key. The bus's handler.
void noteSet(const char* key, const char* value);

// A line for the head's topic of errors, on which everything else is told that others must know.
void noteError(const std::string& line);

// Any other message.
void noteMessage(Message message);

// The link is up: every key is owed. Words and lines wait until endState.
void beginState();

// The whole state has been told: the rest may follow, and first how much was lost meanwhile.
void endState();

// The link is down. `unconfirmed`, in the order in which they were taken, go back to where they
// came from.
void endLink(std::vector<Message> unconfirmed);

// The next message; none if nothing waits.
std::optional<Message> takeMessage();

// The head's own topic beside bus/ should keep this text from now on. Does not send it.
void keepOn(const std::string& topic, const std::string& text);

// What one of the head's topics should keep: a key's value, the text of keepOn, or nothing.
std::string keptOn(const std::string& topic);

// Has the topic keep that again, after somebody else has published there. What waits for it is lost
// with the link, because everything is put right anew with the next one. Of more than kMostWaiting
// at once the rest is left, until somebody looks again at what the broker keeps.
void putRight(const std::string& topic);

// Whether it is time to look again. True once for each time.
bool takeLookAgain();

// Whether endState has been called since the link is up.
bool isStateTold();

// Whether the key, which may say cam1, is known, or one more can be.
bool hasRoomFor(std::string_view key);

std::size_t knownKeys();

}  // namespace bridge
