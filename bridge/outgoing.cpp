#include "bridge/outgoing.h"

#include <algorithm>
#include <cstdint>
#include <deque>
#include <iterator>
#include <map>
#include <mutex>
#include <utility>

#include "bridge/topics.h"

namespace bridge {

struct Entry {
    const std::string* key = nullptr;
    std::string value;
    bool momentary = false;
    bool forwarded = false;
    bool owed = false;
    std::uint64_t told = 0;  // what was queued before that is out of date
};

namespace {

enum class Link { down, telling, up };

// Guarded by the mutex; never destroyed. Nothing outside is called with it held.
struct Outgoing {
    std::mutex mutex;
    void (*wake)() = nullptr;
    Link link = Link::down;
    std::map<std::string, Entry, std::less<>> entries;
    std::deque<Message> queue;
    std::deque<Entry*> owed;
    std::deque<Message> repairs;
    std::map<std::string, std::string> kept;  // by topic, beside the keys' own
    bool owedFirst = false;
    bool tooManyKeys = false;
    bool tooManyRepairs = false;
    std::uint64_t queued = 0;  // how many messages ever were
    std::size_t lostWords = 0;
    std::size_t lostLines = 0;
};

Outgoing& outgoing() {
    static auto& instance = *new Outgoing;
    return instance;
}

// The functions down to the end of this namespace are called with the mutex held.

bool isWord(const Message& message) {
    return message.entry != nullptr && message.entry->momentary;
}

void countLost(const Message& message) {
    ++(isWord(message) ? outgoing().lostWords : outgoing().lostLines);
}

// Queues what is lost if it does not fit. Without a link the newest are kept.
void queueOrCount(Message message) {
    Outgoing& o = outgoing();
    const bool full = o.queue.size() >= kMostWaiting;
    if (full && o.link == Link::up) {
        countLost(message);
        return;
    }
    if (full) {
        countLost(o.queue.front());
        o.queue.pop_front();
    }
    o.queue.push_back(std::move(message));
}

void queueError(const std::string& line) {
    queueOrCount({topicOf("error"), line, {}, false, nullptr, 0});
}

void owe(Entry& entry) {
    if (!std::exchange(entry.owed, true)) {
        outgoing().owed.push_back(&entry);
    }
}

Message valueOf(Entry& entry) {
    return {busTopic(*entry.key), entry.value, {}, !entry.momentary, &entry, 0};
}

// The key's entry, made if there is none yet; null if there are too many.
Entry* entryOf(const char* key) {
    Outgoing& o = outgoing();
    if (const auto found = o.entries.find(std::string_view(key)); found != o.entries.end()) {
        return &found->second;
    }
    if (o.entries.size() >= kMostKeys) {
        if (!std::exchange(o.tooManyKeys, true)) {
            queueError("more than " + std::to_string(kMostKeys) +
                       " keys on the bus, the rest is not forwarded, first " + printable(key));
        }
        return nullptr;
    }
    const auto made = o.entries.try_emplace(key).first;
    Entry& entry = made->second;
    entry.key = &made->first;
    entry.momentary = isMomentary(key);
    entry.forwarded = fitsTopic(made->first);
    if (!entry.forwarded) {
        queueError("key " + printable(key) + " is not forwarded: no topic can hold it");
    }
    return &entry;
}

void takeSet(Entry& entry, const char* value) {
    Outgoing& o = outgoing();
    entry.value = value;
    if (entry.momentary) {
        entry.owed = false;
        queueOrCount(valueOf(entry));
    } else if (o.link == Link::up && !entry.owed && o.queue.size() < kMostWaiting) {
        o.queue.push_back(valueOf(entry));
        o.queue.back().number = o.queued++;
    } else if (o.link != Link::down) {
        owe(entry);
    }
}

// The entry of the key whose value the topic should keep; null if it should keep nothing.
Entry* keptEntry(const std::string& topic) {
    constexpr std::string_view kBus = "bus/";
    const std::string_view levels = ownLevels(topic);
    const std::string key = keyOf(levels.substr(std::min(kBus.size(), levels.size())));
    const auto found = outgoing().entries.find(key);
    const bool kept = found != outgoing().entries.end() && found->second.forwarded &&
                      !found->second.momentary && busTopic(key) == topic;
    return kept ? &found->second : nullptr;
}

std::string keptBeside(const std::string& topic) {
    const auto found = outgoing().kept.find(topic);
    return found == outgoing().kept.end() ? "" : found->second;
}

std::optional<Message> takeOwed() {
    Outgoing& o = outgoing();
    if (!o.repairs.empty()) {
        Message message = std::move(o.repairs.front());
        o.repairs.pop_front();
        return message;
    }
    while (!o.owed.empty()) {
        Entry& entry = *o.owed.front();
        o.owed.pop_front();
        if (std::exchange(entry.owed, false)) {
            entry.told = o.queued;
            return valueOf(entry);
        }
    }
    return std::nullopt;
}

std::optional<Message> takeQueued() {
    Outgoing& o = outgoing();
    while (o.link == Link::up && !o.queue.empty()) {
        Message message = std::move(o.queue.front());
        o.queue.pop_front();
        const Entry* const entry = message.entry;
        const bool outOfDate =
            message.retained && entry != nullptr && (entry->owed || message.number < entry->told);
        if (!outOfDate) {
            return message;
        }
    }
    return std::nullopt;
}

void tellLost() {
    Outgoing& o = outgoing();
    if (o.lostWords + o.lostLines > 0 && o.queue.size() < kMostWaiting) {
        queueError(
            "not forwarded while the broker was slow or away: " + std::to_string(o.lostWords) +
            " command words, " + std::to_string(o.lostLines) + " answers and lines");
        o.lostWords = 0;
        o.lostLines = 0;
    }
}

void wake() {
    outgoing().wake();
}

}  // namespace

void useWakeUp(void (*wake)()) {
    outgoing().wake = wake;
}

void noteKey(const char* key, const char* value) {
    const std::lock_guard lock(outgoing().mutex);
    // A key that was set meanwhile has a newer value already.
    if (!isForwarded(key) || outgoing().entries.contains(std::string_view(key))) {
        return;
    }
    if (Entry* const entry = entryOf(key); entry != nullptr && entry->forwarded) {
        entry->value = value;
        owe(*entry);
    }
}

void noteSet(const char* key, const char* value) {
    {
        const std::lock_guard lock(outgoing().mutex);
        Entry* const entry = isForwarded(key) ? entryOf(key) : nullptr;
        if (entry == nullptr || !entry->forwarded) {
            return;
        }
        takeSet(*entry, value);
    }
    wake();
}

void noteError(const std::string& line) {
    noteMessage({topicOf("error"), line, {}, false, nullptr, 0});
}

void noteMessage(Message message) {
    {
        const std::lock_guard lock(outgoing().mutex);
        queueOrCount(std::move(message));
    }
    wake();
}

void beginState() {
    Outgoing& o = outgoing();
    const std::lock_guard lock(o.mutex);
    o.link = Link::telling;
    for (auto& [key, entry] : o.entries) {
        if (entry.forwarded && !entry.momentary) {
            owe(entry);
        }
    }
}

void endState() {
    const std::lock_guard lock(outgoing().mutex);
    outgoing().link = Link::up;
    tellLost();
}

void endLink(std::vector<Message> unconfirmed) {
    Outgoing& o = outgoing();
    const std::lock_guard lock(o.mutex);
    o.link = Link::down;
    o.queue.insert(o.queue.begin(), std::make_move_iterator(unconfirmed.begin()),
                   std::make_move_iterator(unconfirmed.end()));
    // Values are owed anyway when the next link comes up.
    std::erase_if(o.queue, [](const Message& message) { return message.retained; });
    o.repairs.clear();
    o.tooManyRepairs = false;
    while (o.queue.size() > kMostWaiting) {
        countLost(o.queue.front());
        o.queue.pop_front();
    }
}

std::optional<Message> takeMessage() {
    Outgoing& o = outgoing();
    const std::lock_guard lock(o.mutex);
    // By turns, so that neither waits for ever.
    o.owedFirst = !o.owedFirst;
    std::optional<Message> message = o.owedFirst ? takeOwed() : takeQueued();
    if (!message) {
        message = o.owedFirst ? takeQueued() : takeOwed();
    }
    if (!message && o.link == Link::up) {
        tellLost();
        message = takeQueued();
    }
    return message;
}

void keepOn(const std::string& topic, const std::string& text) {
    const std::lock_guard lock(outgoing().mutex);
    outgoing().kept[topic] = text;
}

std::string keptOn(const std::string& topic) {
    const std::lock_guard lock(outgoing().mutex);
    const Entry* const entry = keptEntry(topic);
    return entry == nullptr ? keptBeside(topic) : entry->value;
}

void putRight(const std::string& topic) {
    Outgoing& o = outgoing();
    const std::lock_guard lock(o.mutex);
    if (Entry* const entry = keptEntry(topic); entry != nullptr) {
        owe(*entry);
    } else if (o.repairs.size() < kMostWaiting) {
        o.repairs.push_back({topic, keptBeside(topic), {}, true, nullptr, 0});
    } else {
        o.tooManyRepairs = true;
    }
}

bool takeLookAgain() {
    const std::lock_guard lock(outgoing().mutex);
    return outgoing().repairs.empty() && std::exchange(outgoing().tooManyRepairs, false);
}

bool isStateTold() {
    const std::lock_guard lock(outgoing().mutex);
    return outgoing().link == Link::up;
}

bool hasRoomFor(std::string_view key) {
    const std::lock_guard lock(outgoing().mutex);
    return outgoing().entries.size() < kMostKeys || outgoing().entries.contains(canonical(key));
}

std::size_t knownKeys() {
    const std::lock_guard lock(outgoing().mutex);
    return outgoing().entries.size();
}

}  // namespace bridge
