// A head with its bus on a broker, the link between them, somebody who steers, and what must hold
// after whatever has happened to them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tests/broker.h"
#include "tools/relay.h"

// What may become of a command.
enum class Fate : std::uint8_t {
    once,    // carried out, once
    atMost,  // the link breaks around it
    never,   // the head is away, or must not obey it
};

// What a leak would make grow.
struct Footprint {
    long memoryKib = 0;
    long descriptors = 0;
};

// Failed checks are test failures of the calling thread.
class Scene {
public:
    // With or without TLS between head and broker; what is left to chance comes from the seed.
    Scene(bool tls, std::uint64_t seed);

    // The next number below `limit`.
    std::uint64_t chance(std::uint64_t limit);
    // Less than so many milliseconds pass.
    void pass(std::uint64_t milliseconds);

    // Sends numbered commands and a relative move of pan behind one of them, and does not wait.
    void steer(Client& client, int count, Fate fate, bool retained = false);
    // The same while the head is away, by chance as retained.
    void steerNobody(Client& client);
    // Waits until the broker has taken all that the client has sent.
    static void finish(Client& client);
    void setOnConsole(const std::string& key, const std::string& value);
    // The head's link leads to its broker again.
    void restore();
    // The head's link leads to a broker that the head does not accept, or that does not accept it.
    // Returns it once the head has said so.
    Broker& mislead();

    // Waits until the head is there again and all that was sent has arrived or is lost; then every
    // command has had its fate, pan stands where the moves have led, and every retained topic is
    // the bus.
    void check();
    Footprint footprint() const;
    // The head ends in good order.
    void end();

private:
    const bool tls_;
    std::uint64_t seed_;
    const int headPort_;

public:
    Broker broker;
    Relay link;
    Head head;

private:
    struct Command {
        std::string line;  // as the trace has it
        Fate fate;
    };

    std::vector<std::string> headOptions() const;
    bool passOver(const std::string& line);
    void checkCommands(const std::string& trace);
    void checkPan();
    void checkKept();

    std::vector<Command> commands_;
    std::size_t judged_ = 0;  // of the commands
    std::size_t read_ = 0;    // of the trace
    int pan_;                 // where it is to stand
    int marks_ = 0;
    bool commandsKept_ = false;  // by the broker, since the head was away
    std::optional<Broker> impostor_;
};
