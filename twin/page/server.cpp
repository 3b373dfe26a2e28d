#include "twin/page/server.h"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <utility>

#include "twin/page/events.h"
#include "twin/page/film.h"
#include "twin/page/json.h"
#include "twin/page/power.h"
#include "twin/page/requests.h"

namespace twin {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::seconds;

constexpr unsigned int kMostConnections = 256;
constexpr std::size_t kMostEventReaders = 64;
// Of one connection: room for a head that is too long, so that the refusal is ours.
constexpr std::size_t kConnectionBytes = std::size_t{64} * 1024;
constexpr unsigned int kIdleSeconds = 10;  // without a byte
constexpr seconds kRequestTime{20};        // for a whole request to come
constexpr seconds kHeartbeat{10};          // finds readers of events who have gone away
// What waits in the kernel for a slow reader is old.
constexpr int kSendBuffer = 64 * 1024;

constexpr const char* kText = "text/plain; charset=utf-8";
constexpr const char* kJson = "application/json";
constexpr const char* kEvents = "text/event-stream";

struct Answer {
    unsigned int status = 200;
    std::string type = kText;
    std::string body;
    std::string allowed;
};

// One request, from its first line to the end of its answer.
struct Exchange {
    MHD_Connection* connection = nullptr;
    std::string target;
    Plan plan;
    bool planned = false;
    std::string body;
    std::size_t discarded = 0;   // of a body that is refused
    bool asked = false;          // the camera has the question,
    std::uint32_t question = 0;  // this one,
    bool suspended = false;      // and the connection waits
    bool answered = false;
    Answer answer;
    bool reading = false;  // events
    EventQueue events;
};

// One connection, which may carry one request after the other.
struct Peer {
    int descriptor = -1;
    bool busy = false;  // a request is complete and not answered in full
    Clock::time_point since;
};

MHD_Daemon* gServer = nullptr;
std::set<Exchange*> gExchanges;
std::set<Peer*> gPeers;
std::size_t gReaders = 0;
Clock::time_point gNextTick;
Clock::time_point gNextHeartbeat;

void resume(Exchange& exchange) {
    if (exchange.suspended) {
        exchange.suspended = false;
        MHD_resume_connection(exchange.connection);
    }
}

void suspend(Exchange& exchange) {
    exchange.suspended = true;
    MHD_suspend_connection(exchange.connection);
}

Peer* peerOf(MHD_Connection* connection) {
    const MHD_ConnectionInfo* const info =
        MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
    return info == nullptr ? nullptr : static_cast<Peer*>(info->socket_context);
}

void setBusy(MHD_Connection* connection, bool busy) {
    if (Peer* const peer = peerOf(connection)) {
        peer->busy = busy;
        peer->since = Clock::now();
    }
}

// Answers.

MHD_Result queueResponse(MHD_Connection* connection, unsigned int status, MHD_Response* response,
                         const std::string& type) {
    constexpr std::array<std::pair<const char*, const char*>, 5> kEverywhere = {{
        {"Content-Security-Policy",
         "default-src 'self'; style-src 'self' 'unsafe-inline'; img-src 'self' data: blob:; "
         "frame-ancestors 'none'"},
        {"X-Frame-Options", "DENY"},
        {"X-Content-Type-Options", "nosniff"},
        {"Cross-Origin-Resource-Policy", "same-origin"},
        {"Referrer-Policy", "no-referrer"},
    }};
    for (const auto& [name, value] : kEverywhere) {
        MHD_add_response_header(response, name, value);
    }
    MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE, type.c_str());
    const MHD_Result result = MHD_queue_response(connection, status, response);
    MHD_destroy_response(response);
    return result;
}

MHD_Result sendAnswer(MHD_Connection* connection, const Answer& answer) {
    MHD_Response* const response = MHD_create_response_from_buffer(
        answer.body.size(), const_cast<char*>(answer.body.data()), MHD_RESPMEM_MUST_COPY);
    MHD_add_response_header(response, MHD_HTTP_HEADER_CACHE_CONTROL, "no-store");
    if (!answer.allowed.empty()) {
        MHD_add_response_header(response, MHD_HTTP_HEADER_ALLOW, answer.allowed.c_str());
    }
    return queueResponse(connection, answer.status, response, answer.type);
}

MHD_Result sendAsset(MHD_Connection* connection, const Asset& asset) {
    const char* const known =
        MHD_lookup_connection_value(connection, MHD_HEADER_KIND, MHD_HTTP_HEADER_IF_NONE_MATCH);
    const bool same = known != nullptr && asset.tag == known;
    const std::string_view content = same ? std::string_view() : asset.content;
    MHD_Response* const response = MHD_create_response_from_buffer(
        content.size(), const_cast<char*>(content.data()), MHD_RESPMEM_PERSISTENT);
    MHD_add_response_header(response, MHD_HTTP_HEADER_CACHE_CONTROL, "no-cache");
    MHD_add_response_header(response, MHD_HTTP_HEADER_ETAG, std::string(asset.tag).c_str());
    return queueResponse(connection, same ? 304 : 200, response, std::string(asset.type));
}

ssize_t readStream(void* context, uint64_t, char* buffer, std::size_t most) {
    Exchange& exchange = *static_cast<Exchange*>(context);
    const std::size_t count = readEvents(exchange.events, buffer, most);
    if (count == 0) {
        suspend(exchange);
    }
    return static_cast<ssize_t>(count);
}

MHD_Result sendStream(Exchange& exchange) {
    if (gReaders >= kMostEventReaders) {
        return sendAnswer(exchange.connection, {503, kText, "too many readers of events\n", ""});
    }
    exchange.reading = true;
    ++gReaders;
    watchEvents(true);
    const std::string head = lastHead();
    queueHead(exchange.events, "retry: 1000\n" + (head.empty() ? "\n" : eventText("head", head)));
    MHD_Response* const response = MHD_create_response_from_callback(
        MHD_SIZE_UNKNOWN, std::size_t{8} * 1024, readStream, &exchange, nullptr);
    MHD_add_response_header(response, MHD_HTTP_HEADER_CACHE_CONTROL, "no-store");
    return queueResponse(exchange.connection, 200, response, kEvents);
}

// What the camera said, as an answer to the request.
Answer answerOf(const Exchange& exchange, const Reply& reply) {
    const std::vector<std::string>& answers = reply.answers;
    const std::string first = answers.empty() ? "" : answers.front();
    if (exchange.plan.action == Action::console) {
        Answer answer;
        answer.status = reply.failed ? 422 : 200;
        for (const std::string& line : answers) {
            answer.body += line + "\n";
        }
        return answer;
    }
    if (reply.off) {
        return exchange.plan.action == Action::head
                   ? Answer{200, kJson, lastHead() + "\n", ""}
                   : Answer{503, kText, "the camera is off; `power-on` boots it\n", ""};
    }
    if (exchange.plan.action == Action::set) {
        return reply.failed ? Answer{400, kText, first + "\n", ""} : Answer{204, kText, "", ""};
    }
    return {200, kJson, (exchange.plan.action == Action::bus ? busJson(answers) : first) + "\n",
            ""};
}

void askCamera(Exchange& exchange) {
    PacketKind kind = PacketKind::head;
    std::string text;
    if (exchange.plan.action == Action::bus) {
        kind = PacketKind::bus;
        text = exchange.plan.key;
    } else if (exchange.plan.action == Action::set) {
        kind = PacketKind::set;
        text = exchange.plan.key + '\0' + exchange.body;
    } else if (exchange.plan.action == Action::console) {
        kind = PacketKind::console;
        text = std::move(exchange.body);
    }
    exchange.asked = true;
    exchange.question = ask(kind, std::move(text), [&exchange](const Reply& reply) {
        exchange.answered = true;
        exchange.answer = answerOf(exchange, reply);
        resume(exchange);
    });
}

MHD_Result sendRefusal(const Exchange& exchange) {
    return sendAnswer(exchange.connection, {static_cast<unsigned int>(exchange.plan.status), kText,
                                            exchange.plan.problem + "\n", exchange.plan.allowed});
}

MHD_Result sendFilm(MHD_Connection* connection, std::string_view events) {
    MHD_Response* const response = MHD_create_response_from_buffer(
        events.size(), const_cast<char*>(events.data()), MHD_RESPMEM_PERSISTENT);
    MHD_add_response_header(response, MHD_HTTP_HEADER_CACHE_CONTROL, "no-store");
    return queueResponse(connection, 200, response, kEvents);
}

Answer filmAnswer(const Plan& plan) {
    constexpr const char* kNone = "no recording is shown; --replay FILE --page PORT shows one\n";
    constexpr const char* kNoBoot = "the recording has no such boot; GET /recording lists them\n";
    if (plan.action == Action::recording) {
        return filmIsShown() ? Answer{200, kJson, filmSummary() + "\n", ""}
                             : Answer{204, kText, "", ""};
    }
    if (plan.action == Action::boot) {
        return {404, kText, filmIsShown() ? kNoBoot : kNone, ""};
    }
    return {409, kText, "a recording is shown, and no camera steered; accepted: GET /recording\n",
            ""};
}

// The whole request is here, or the camera has answered it.
MHD_Result serveExchange(Exchange& exchange) {
    setBusy(exchange.connection, true);
    if (exchange.plan.status != 200) {
        return sendRefusal(exchange);
    }
    if (exchange.plan.action == Action::asset) {
        return sendAsset(exchange.connection, *exchange.plan.asset);
    }
    if (exchange.plan.action == Action::boot) {
        if (const auto events = filmedBoot(exchange.plan.key)) {
            return sendFilm(exchange.connection, *events);
        }
    }
    if (filmIsShown() || exchange.plan.action == Action::recording ||
        exchange.plan.action == Action::boot) {
        return sendAnswer(exchange.connection, filmAnswer(exchange.plan));
    }
    if (exchange.plan.action == Action::events) {
        return sendStream(exchange);
    }
    if (!exchange.asked) {
        askCamera(exchange);
    }
    if (!exchange.answered) {
        suspend(exchange);
        return MHD_YES;
    }
    return sendAnswer(exchange.connection, exchange.answer);
}

// Requests as they come.

MHD_Result takeHeader(void* context, MHD_ValueKind, const char* name, const char* value) {
    RequestHead& head = *static_cast<RequestHead*>(context);
    const std::string text = value == nullptr ? "" : value;
    if (strcasecmp(name, "Host") == 0) {
        head.host = text;
        ++head.hosts;
    } else if (strcasecmp(name, "Origin") == 0) {
        head.origin = text;
    } else if (strcasecmp(name, "Content-Length") == 0) {
        head.length = text;
    } else if (strcasecmp(name, "Expect") == 0) {
        head.expects = true;
    }
    return MHD_YES;
}

void takeBody(Exchange& exchange, const char* data, std::size_t size) {
    if (exchange.plan.status == 200 && exchange.body.size() + size > kMostBodyBytes) {
        exchange.plan = bodyTooLong();
    }
    if (exchange.plan.status == 200) {
        exchange.body.append(data, size);
    } else {
        exchange.discarded += size;
    }
}

MHD_Result takeRequest(void*, MHD_Connection* connection, const char*, const char* method,
                       const char*, const char* data, std::size_t* size, void** context) {
    Exchange& exchange = *static_cast<Exchange*>(*context);
    if (!exchange.planned) {
        exchange.planned = true;
        RequestHead head;
        head.method = method;
        head.target = exchange.target;
        MHD_get_connection_values(connection, MHD_HEADER_KIND, takeHeader, &head);
        head.bytes = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_REQUEST_HEADER_SIZE)
                         ->header_size;
        exchange.plan = planOf(head);
        if (exchange.plan.status != 200 && exchange.plan.atOnce) {
            setBusy(connection, true);
            return sendRefusal(exchange);
        }
        return MHD_YES;
    }
    if (*size > 0) {
        takeBody(exchange, data, *size);
        *size = 0;
        return exchange.discarded > kMostDiscardedBytes ? MHD_NO : MHD_YES;
    }
    return serveExchange(exchange);
}

void* beginExchange(void*, const char* target, MHD_Connection* connection) {
    auto* const exchange = new Exchange;
    exchange->connection = connection;
    exchange->target = target;
    gExchanges.insert(exchange);
    return exchange;
}

void endExchange(void*, MHD_Connection* connection, void** context, MHD_RequestTerminationCode) {
    auto* const exchange = static_cast<Exchange*>(*context);
    if (exchange == nullptr) {
        return;
    }
    if (exchange->asked && !exchange->answered) {
        forget(exchange->question);
    }
    if (exchange->reading && --gReaders == 0) {
        watchEvents(false);
    }
    setBusy(connection, false);
    gExchanges.erase(exchange);
    delete exchange;
    *context = nullptr;
}

void notePeer(void*, MHD_Connection* connection, void** context,
              MHD_ConnectionNotificationCode code) {
    if (code == MHD_CONNECTION_NOTIFY_STARTED) {
        auto* const peer = new Peer;
        const MHD_ConnectionInfo* const info =
            MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
        peer->descriptor = info->connect_fd;
        peer->since = Clock::now();
        setsockopt(peer->descriptor, SOL_SOCKET, SO_SNDBUF, &kSendBuffer, sizeof kSendBuffer);
        *context = peer;
        gPeers.insert(peer);
    } else {
        auto* const peer = static_cast<Peer*>(*context);
        gPeers.erase(peer);
        delete peer;
    }
}

// Paths are decoded in one place, and there with a check.
std::size_t leaveEscapes(void*, MHD_Connection*, char* text) {
    return std::strlen(text);
}

// Once a second: who has gone away, who takes too long.

bool goneAway(int descriptor) {
    char byte = 0;
    const ssize_t count = recv(descriptor, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
    return count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR);
}

void lookAtPeers(Clock::time_point now) {
    for (const Peer* const peer : gPeers) {
        if (!peer->busy && now - peer->since > kRequestTime) {
            shutdown(peer->descriptor, SHUT_RDWR);
        }
    }
}

void lookAtExchanges(bool heartbeat) {
    static const auto kBeat = std::make_shared<const std::string>(":\n\n");
    for (Exchange* const exchange : gExchanges) {
        if (exchange->reading && heartbeat) {
            queueTrace(exchange->events, kBeat);
            resume(*exchange);
        } else if (exchange->suspended && !exchange->reading) {
            const Peer* const peer = peerOf(exchange->connection);
            if (peer != nullptr && goneAway(peer->descriptor)) {
                forget(exchange->question);
                exchange->answered = true;
                resume(*exchange);
            }
        }
    }
}

void tick() {
    const Clock::time_point now = Clock::now();
    if (now < gNextTick) {
        return;
    }
    gNextTick = now + seconds{1};
    const bool heartbeat = now >= gNextHeartbeat;
    if (heartbeat) {
        gNextHeartbeat = now + kHeartbeat;
    }
    lookAtPeers(now);
    lookAtExchanges(heartbeat);
}

// The listening socket.

int listenAt(const PageAddress& where, std::string& problem) {
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV | AI_PASSIVE;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const std::string address = where.address.empty() ? "127.0.0.1" : where.address;
    if (const int error =
            getaddrinfo(address.c_str(), std::to_string(where.port).c_str(), &hints, &found);
        error != 0) {
        problem = address + ": " + gai_strerror(error);
        return -1;
    }
    const int descriptor = socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const int yes = 1;
    setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    const bool good = descriptor >= 0 && bind(descriptor, found->ai_addr, found->ai_addrlen) == 0 &&
                      listen(descriptor, SOMAXCONN) == 0;
    freeaddrinfo(found);
    if (!good) {
        problem = address + ":" + std::to_string(where.port) + ": " + std::strerror(errno);
        close(descriptor);
        return -1;
    }
    return descriptor;
}

std::string urlOf(int descriptor) {
    sockaddr_storage storage{};
    socklen_t length = sizeof storage;
    auto* const address = reinterpret_cast<sockaddr*>(&storage);
    getsockname(descriptor, address, &length);
    std::array<char, NI_MAXHOST> host{};
    std::array<char, NI_MAXSERV> port{};
    getnameinfo(address, length, host.data(), host.size(), port.data(), port.size(),
                NI_NUMERICHOST | NI_NUMERICSERV);
    const bool six = storage.ss_family == AF_INET6;
    return std::string("http://") + (six ? "[" : "") + host.data() + (six ? "]" : "") + ":" +
           port.data() + "/";
}

}  // namespace

std::string openServer(const PageAddress& where, std::string& url) {
    std::string problem;
    const int descriptor = listenAt(where, problem);
    if (descriptor < 0) {
        return problem;
    }
    gServer = MHD_start_daemon(
        MHD_USE_EPOLL | MHD_ALLOW_SUSPEND_RESUME, 0, nullptr, nullptr, takeRequest, nullptr,
        MHD_OPTION_LISTEN_SOCKET, descriptor, MHD_OPTION_CONNECTION_LIMIT, kMostConnections,
        MHD_OPTION_CONNECTION_MEMORY_LIMIT, kConnectionBytes, MHD_OPTION_CONNECTION_TIMEOUT,
        kIdleSeconds, MHD_OPTION_URI_LOG_CALLBACK, beginExchange, nullptr,
        MHD_OPTION_UNESCAPE_CALLBACK, leaveEscapes, nullptr, MHD_OPTION_NOTIFY_COMPLETED,
        endExchange, nullptr, MHD_OPTION_NOTIFY_CONNECTION, notePeer, nullptr,
        MHD_OPTION_SIGPIPE_HANDLED_BY_APP, 1, MHD_OPTION_END);
    if (gServer == nullptr) {
        close(descriptor);
        return "the HTTP server does not start";
    }
    url = urlOf(descriptor);
    return "";
}

int serverDescriptor() {
    return MHD_get_daemon_info(gServer, MHD_DAEMON_INFO_EPOLL_FD)->epoll_fd;
}

int serverPatience() {
    MHD_UNSIGNED_LONG_LONG timeout = 1000;
    if (MHD_get_timeout(gServer, &timeout) != MHD_YES) {
        return 1000;
    }
    return static_cast<int>(std::min<MHD_UNSIGNED_LONG_LONG>(timeout, 1000));
}

void serveRequests() {
    tick();
    MHD_run(gServer);
}

void sendTraceEvent(const std::string& line) {
    const auto event = std::make_shared<const std::string>(eventText("trace", traceJson(line)));
    for (Exchange* const exchange : gExchanges) {
        if (exchange->reading) {
            queueTrace(exchange->events, event);
            resume(*exchange);
        }
    }
}

void sendLostEvent(const std::string& count) {
    const auto event =
        std::make_shared<const std::string>(eventText("lost", R"({"count":)" + count + "}"));
    for (Exchange* const exchange : gExchanges) {
        if (exchange->reading) {
            queueTrace(exchange->events, event);
            resume(*exchange);
        }
    }
}

void sendHeadEvent(const std::string& json) {
    const std::string event = eventText("head", json);
    for (Exchange* const exchange : gExchanges) {
        if (exchange->reading) {
            queueHead(exchange->events, event);
            resume(*exchange);
        }
    }
}

void closeServer() {
    const Clock::time_point last = Clock::now() + seconds{1};
    // A reader of events who has got all of them waits.
    const auto underWay = [] {
        return std::any_of(gExchanges.begin(), gExchanges.end(), [](const Exchange* exchange) {
            return !exchange->reading || !exchange->suspended;
        });
    };
    while (underWay() && Clock::now() < last) {
        pollfd source{serverDescriptor(), POLLIN, 0};
        poll(&source, 1, 20);
        MHD_run(gServer);
    }
    for (Exchange* const exchange : gExchanges) {
        resume(*exchange);
    }
    MHD_stop_daemon(gServer);
}

}  // namespace twin
