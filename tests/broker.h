// A broker, clients and heads for the tests of the bus on MQTT: real programs on loopback ports of
// their own. Whatever waits here waits for what it is told, and fails after half a minute.
#pragma once

#include <mosquitto.h>

#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "process.h"
#include "session.h"

// A loopback port that nobody has at the moment, and that no outgoing connection is given.
int freePort();

// A text with every `word` replaced.
std::string replaced(std::string text, const std::string& word, const std::string& value);

// A mosquitto with its configuration below a directory of its own.
class Broker {
public:
    // In the configuration, the bench's if none is given, @PORT@ and @DIRECTORY@ stand for a free
    // port and the directory.
    explicit Broker(std::string configuration = "");
    ~Broker();

    void start();
    void kill();
    Process& process() {
        return *process_;
    }
    std::string pathOf(const std::string& file) const {
        return directory + "/" + file;
    }

    int port = 0;
    std::string directory;

private:
    std::string configuration_;
    Process* process_ = nullptr;
};

struct Received {
    std::string topic;
    std::string payload;
    bool retained = false;
    std::string correlation;

    // TOPIC PAYLOAD
    std::string line() const {
        return topic + " " + payload;
    }
};

struct Account {
    std::string user;
    std::string password;
    std::string caFile;
    std::string id{};  // of the client; empty for one that the broker chooses
};

// A client of the broker that remembers what it hears. It does not connect again.
class Client {
public:
    // Connects and subscribes with QoS 2.
    Client(const Broker& broker, const std::string& subscription, const Account& account = {});
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    struct Set {
        bool retained = false;
        std::string answerTopic;
        std::string correlation;
    };
    // Publishes with QoS 2 and waits until the broker has it; the broker's reason code.
    int publish(const std::string& topic, const std::string& payload);
    int publish(const std::string& topic, const std::string& payload, const Set& set);
    // The same without waiting, and without a broker in vain; the message's number.
    int send(const std::string& topic, const std::string& payload, const Set& set);
    // Publishes the numbers from 1 to `count` at once, with QoS 2, and waits until the broker has
    // all.
    void flood(const std::string& topic, int count);
    // Waits until `line` has come since what the last call found, and returns what came up to it.
    std::vector<std::string> readTo(const std::string& line);
    std::vector<Received> received();

private:
    static void onConnect(mosquitto*, void* object, int reason, int, const mosquitto_property*);
    static void onDisconnect(mosquitto* client, void*, int, const mosquitto_property*);
    static void onSubscribe(mosquitto*, void* object, int, int, const int*,
                            const mosquitto_property*);
    static void onPublish(mosquitto*, void* object, int id, int reason, const mosquitto_property*);
    static void onMessage(mosquitto*, void* object, const mosquitto_message* message,
                          const mosquitto_property* properties);

    std::mutex mutex_;
    std::condition_variable changed_;
    bool subscribed_ = false;
    std::map<int, int> published_;
    std::vector<Received> received_;
    std::size_t found_ = 0;
    mosquitto* client_ = nullptr;
};

// A head whose axes stand where they were, with its bus on the broker, ten times faster than real.
class Head {
public:
    // `more` options come after the usual ones and count where both are given.
    explicit Head(const Broker& broker, const std::vector<std::string>& more = {});

    // What the console answers to the command, line by line, without the leading "= ".
    std::vector<std::string> ask(const std::string& command);
    // What a broker is to keep of its bus, as TOPIC PAYLOAD.
    std::vector<std::string> toBeKept();
    // Ends the run; the values that other services have set the key to, in their order.
    std::vector<std::string> setsOf(const std::string& key);

    const Camera camera{Positions{}};
    Process process;

private:
    std::vector<std::string> arguments(const Broker& broker, const std::vector<std::string>& more);
};

// What an open broker keeps below the topic, as TOPIC PAYLOAD.
std::vector<std::string> keptBelow(const Broker& broker, const std::string& topic);

// The lines but the power figure, an estimate that changes by itself.
std::vector<std::string> withoutPower(std::vector<std::string> lines);
