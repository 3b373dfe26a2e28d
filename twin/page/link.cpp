#include "twin/page/link.h"

#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace twin {

namespace {

constexpr int kBufferBytes = 1024 * 1024;

struct Header {
    PacketKind kind{};
    std::uint32_t number = 0;
};

}  // namespace

bool openLink(int& pageEnd, int& cameraEnd) {
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        return false;
    }
    for (const int end : ends) {
        setsockopt(end, SOL_SOCKET, SO_SNDBUF, &kBufferBytes, sizeof kBufferBytes);
    }
    pageEnd = ends[0];
    cameraEnd = ends[1];
    return true;
}

Sent sendPacket(int end, const Packet& packet, bool patient) {
    Header header{packet.kind, packet.number};
    const std::size_t size = std::min(packet.text.size(), kLongestPacket);
    std::array<iovec, 2> parts = {
        {{&header, sizeof header}, {const_cast<char*>(packet.text.data()), size}}};
    msghdr message{};
    message.msg_iov = parts.data();
    message.msg_iovlen = parts.size();
    for (;;) {
        if (sendmsg(end, &message, MSG_NOSIGNAL | (patient ? 0 : MSG_DONTWAIT)) >= 0) {
            return Sent::yes;
        }
        if (errno == EAGAIN) {
            return Sent::full;
        }
        if (errno != EINTR) {
            return Sent::broken;
        }
    }
}

std::optional<Packet> receivePacket(int end) {
    Header header;
    static thread_local std::array<char, kLongestPacket> text;
    std::array<iovec, 2> parts = {{{&header, sizeof header}, {text.data(), text.size()}}};
    msghdr message{};
    message.msg_iov = parts.data();
    message.msg_iovlen = parts.size();
    ssize_t count = 0;
    // That the other end has left something unread is told once, before what it had said.
    do {
        count = recvmsg(end, &message, 0);
    } while (count < 0 && (errno == EINTR || errno == ECONNRESET));
    if (count < static_cast<ssize_t>(sizeof header)) {
        return std::nullopt;
    }
    const std::size_t size = static_cast<std::size_t>(count) - sizeof header;
    return Packet{header.kind, header.number, std::string(text.data(), size)};
}

}  // namespace twin
