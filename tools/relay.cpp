#include "tools/relay.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>

namespace {

sockaddr_in loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

void sendAtOnce(int socket) {
    const int yes = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
}

bool sendAll(int socket, const char* bytes, std::size_t count) {
    while (count > 0) {
        const ssize_t sent = send(socket, bytes, count, MSG_NOSIGNAL);
        if (sent <= 0) {
            return false;
        }
        bytes += sent;
        count -= static_cast<std::size_t>(sent);
    }
    return true;
}

}  // namespace

Relay::Relay(int targetPort)
    : target_(targetPort), listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof address;
    auto* const plain = reinterpret_cast<sockaddr*>(&address);
    if (bind(listener_, plain, size) == 0 && listen(listener_, SOMAXCONN) == 0 &&
        getsockname(listener_, plain, &size) == 0) {
        port_ = ntohs(address.sin_port);
        acceptor_ = std::thread([this] { accept(); });
    }
}

Relay::~Relay() {
    cut();
    shutdown(listener_, SHUT_RDWR);
    if (acceptor_.joinable()) {
        acceptor_.join();
    }
    while (!connections_.empty()) {
        remove(connections_.begin());
    }
    close(listener_);
}

void Relay::cut() {
    const std::lock_guard lock(mutex_);
    cut_ = true;
    for (const Connection& connection : connections_) {
        shutdown(connection.near, SHUT_RDWR);
        shutdown(connection.far, SHUT_RDWR);
    }
    changed_.notify_all();
}

void Relay::hold() {
    const std::lock_guard lock(mutex_);
    held_ = true;
}

void Relay::restore(int targetPort) {
    const std::lock_guard lock(mutex_);
    cut_ = false;
    held_ = false;
    target_ = targetPort;
    changed_.notify_all();
}

void Relay::accept() {
    for (int near = 0; (near = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
        for (auto each = connections_.begin(); each != connections_.end();) {
            const auto connection = each++;
            if (connection->ends == 2) {
                const std::lock_guard lock(mutex_);
                remove(connection);
            }
        }
        lead(near);
    }
}

void Relay::lead(int near) {
    const std::lock_guard lock(mutex_);
    const int far = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = loopback(target_);
    if (cut_ || connect(far, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        close(far);
        close(near);
        return;
    }
    sendAtOnce(near);
    sendAtOnce(far);
    Connection& connection = connections_.emplace_back();
    connection.near = near;
    connection.far = far;
    connection.forth =
        std::thread([this, &connection] { pump(connection, connection.near, connection.far); });
    connection.back =
        std::thread([this, &connection] { pump(connection, connection.far, connection.near); });
}

void Relay::pump(Connection& connection, int from, int to) {
    std::array<char, 65536> part{};
    for (ssize_t count = 0; (count = recv(from, part.data(), part.size(), 0)) > 0;) {
        {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [this] { return !held_ || cut_; });
        }
        if (!sendAll(to, part.data(), static_cast<std::size_t>(count))) {
            break;
        }
    }
    shutdown(from, SHUT_RDWR);
    shutdown(to, SHUT_RDWR);
    ++connection.ends;
}

void Relay::remove(std::list<Connection>::iterator connection) {
    connection->forth.join();
    connection->back.join();
    close(connection->near);
    close(connection->far);
    connections_.erase(connection);
}
