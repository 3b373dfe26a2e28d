#include "twin/page/outbox.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

#include "twin/clock/actors.h"

namespace twin {

namespace {

constexpr std::size_t kMostTraceLines = 4096;
constexpr std::chrono::milliseconds kIdleTime{40};

// Never destroyed: threads outlive main.
struct Outbox {
    std::mutex mutex;
    std::condition_variable filled;
    std::condition_variable emptied;
    std::deque<Packet> packets;
    std::size_t traceLines = 0;
    std::size_t lost = 0;  // trace lines, in front of those that wait
    bool sending = false;
};

Outbox& outbox() {
    static auto& box = *new Outbox;
    return box;
}

// The following are called with the outbox's lock held.

void giveUpOldest(Outbox& box) {
    for (auto packet = box.packets.begin(); packet != box.packets.end(); ++packet) {
        if (packet->kind == PacketKind::trace) {
            box.packets.erase(packet);
            --box.traceLines;
            ++box.lost;
            return;
        }
    }
}

Packet takeFirst(Outbox& box) {
    if (box.lost > 0 && box.packets.front().kind == PacketKind::trace) {
        return {PacketKind::lost, 0, std::to_string(std::exchange(box.lost, 0))};
    }
    Packet packet = std::move(box.packets.front());
    box.packets.pop_front();
    if (packet.kind == PacketKind::trace) {
        --box.traceLines;
    }
    return packet;
}

void sendAll(int link) {
    Outbox& box = outbox();
    std::unique_lock lock(box.mutex);
    while (!box.packets.empty()) {
        const Packet packet = takeFirst(box);
        box.sending = true;
        lock.unlock();
        // A page that is gone wants nothing more.
        sendPacket(link, packet, true);
        lock.lock();
        box.sending = false;
        box.emptied.notify_all();
    }
}

[[noreturn]] void keepSending(int link, void (*idle)()) {
    Outbox& box = outbox();
    auto next = std::chrono::steady_clock::now();
    for (;;) {
        sendAll(link);
        if (std::chrono::steady_clock::now() >= next) {
            idle();
            next = std::chrono::steady_clock::now() + kIdleTime;
        }
        std::unique_lock lock(box.mutex);
        box.filled.wait_until(lock, next, [&box] { return !box.packets.empty(); });
    }
}

}  // namespace

void openOutbox(int link, void (*idle)()) {
    std::thread(keepSending, link, idle).detach();
}

void post(PacketKind kind, std::uint32_t number, std::string text) {
    Outbox& box = outbox();
    const std::lock_guard lock(box.mutex);
    box.packets.push_back({kind, number, std::move(text)});
    box.filled.notify_one();
}

void postTrace(const std::string& line) {
    Outbox& box = outbox();
    std::unique_lock lock(box.mutex);
    if (box.traceLines >= kMostTraceLines) {
        if (clockIsVirtual()) {
            box.emptied.wait(lock, [&box] { return box.traceLines < kMostTraceLines; });
        } else {
            giveUpOldest(box);
        }
    }
    box.packets.push_back({PacketKind::trace, 0, line});
    ++box.traceLines;
    box.filled.notify_one();
}

void closeOutbox(const Packet& last) {
    Outbox& box = outbox();
    std::unique_lock lock(box.mutex);
    box.packets.push_back(last);
    box.filled.notify_one();
    box.emptied.wait(lock, [&box] { return box.packets.empty() && !box.sending; });
}

}  // namespace twin
