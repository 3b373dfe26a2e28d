// What the page's process and the camera's process say to each other: packets on a socket that
// keeps each of them whole. The end of one of the processes is the end of the socket for the other.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace twin {

// Long texts (a key and a value, a line of JSON) are given as they are; what a packet holds is in
// the comment.
enum class PacketKind : char {
    // From the page. Each of the questions is answered by `finished` with the same number.
    console,  // the first line's number, 0 for none, and on lines of their own the commands
    head,     // -
    bus,      // the prefix
    set,      // the key, a NUL, the value
    cancel,   // -: whoever asked has gone away
    watch,    // "1" if somebody looks at the events, else "0"

    // From the camera.
    ready,     // -: the daemon has been started
    begin,     // -: a line of the question is carried out from now on
    answer,    // a line of text, without its end; of `bus`: a key, a NUL, the value, as in a film
    end,       // -: the line is done
    finished,  // "0", or "1" if something failed
    trace,     // SECONDS KIND TEXT
    lost,      // how many events are missing here
    headNow,   // the head's JSON; number 0
    farewell,  // why the run ends: "quit", "signal" or "off", and on lines of their own what the
               // next run begins with: the speed, how many lines of the input are done, and the
    // input that is still unread. In a film: "on" if the camera was to the end, else "off"
    faults,  // in a film: those in force, one a line
};

struct Packet {
    PacketKind kind{};
    std::uint32_t number = 0;  // of the question; 0 where there is none
    std::string text;
};

// The longest text of a packet, in bytes.
constexpr std::size_t kLongestPacket = std::size_t{100} * 1024;

// Makes the two ends. False if that is not possible.
bool openLink(int& pageEnd, int& cameraEnd);

enum class Sent { yes, full, broken };

// Sends a packet; `patient` waits for room. Any thread.
Sent sendPacket(int end, const Packet& packet, bool patient);

// Waits for a packet. None at the end of the link.
std::optional<Packet> receivePacket(int end);

}  // namespace twin
