// A link that can be cut and held up: connections to a loopback port of its own are led on to
// another one.
#pragma once

#include <atomic>
#include <condition_variable>
#include <list>
#include <mutex>
#include <thread>

class Relay {
public:
    explicit Relay(int targetPort);
    ~Relay();
    Relay(const Relay&) = delete;
    Relay& operator=(const Relay&) = delete;

    // The port to connect to; 0 if there is none.
    int port() const {
        return port_;
    }
    // Ends every connection, and from now on each new one at once.
    void cut();
    // Nothing passes any more, and neither end is told.
    void hold();
    // All is well; new connections lead to that port.
    void restore(int targetPort);

private:
    struct Connection {
        int near = -1;
        int far = -1;
        std::atomic<int> ends{0};  // directions in which nothing passes any more
        std::thread forth;
        std::thread back;
    };

    void accept();
    void lead(int near);
    void pump(Connection& connection, int from, int to);
    void remove(std::list<Connection>::iterator connection);

    std::mutex mutex_;
    std::condition_variable changed_;
    bool cut_ = false;
    bool held_ = false;
    int target_;
    int listener_ = -1;
    int port_ = 0;
    std::list<Connection> connections_;
    std::thread acceptor_;
};
