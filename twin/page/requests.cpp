#include "twin/page/requests.h"

#include <arpa/inet.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>

namespace twin {

namespace {

struct Route {
    std::string_view path;  // one that ends with a slash stands for all below it
    std::string_view method;
    Action action;
};

constexpr std::array<Route, 7> kRoutes = {{
    {"/head", "GET", Action::head},
    {"/bus", "GET", Action::bus},
    {"/bus/", "PUT", Action::set},
    {"/console", "POST", Action::console},
    {"/events", "GET", Action::events},
    {"/recording", "GET", Action::recording},
    {"/recording/", "GET", Action::boot},
}};

constexpr const char* kAcceptedPaths =
    "no such path, accepted: GET /, GET /head, GET /bus?below=PREFIX, PUT /bus/KEY, "
    "POST /console, GET /events, GET /recording, GET /recording/BOOT";

Plan refused(int status, const std::string& problem) {
    Plan plan;
    plan.status = status;
    plan.problem = problem;
    return plan;
}

bool routeMatches(const Route& route, std::string_view path) {
    return route.path.ends_with('/') ? path.starts_with(route.path) && path != route.path
                                     : path == route.path;
}

// What GET may, HEAD may too; but nobody wants the head of an endless answer.
bool methodMatches(const Route& route, std::string_view method) {
    return method == route.method ||
           (method == "HEAD" && route.method == "GET" && route.action != Action::events);
}

Plan wrongMethod(const std::string& allowed) {
    Plan plan = refused(405, "accepted: " + allowed);
    plan.allowed = allowed;
    return plan;
}

Plan planAsset(std::string_view method, const Asset& asset) {
    if (method != "GET" && method != "HEAD") {
        return wrongMethod("GET, HEAD");
    }
    Plan plan;
    plan.action = Action::asset;
    plan.asset = &asset;
    return plan;
}

// below=PREFIX, or nothing.
bool readQuery(std::string_view query, std::string& prefix) {
    constexpr std::string_view kName = "below=";
    if (query.empty()) {
        return true;
    }
    if (!query.starts_with(kName) || query.find('&') != std::string_view::npos) {
        return false;
    }
    std::string value(query.substr(kName.size()));
    std::replace(value.begin(), value.end(), '+', ' ');
    const auto decoded = percentDecoded(value);
    prefix = decoded.value_or("");
    return decoded.has_value();
}

Plan planRoute(const Route& route, const std::string& method, const std::string& path,
               std::string_view query) {
    if (!methodMatches(route, method)) {
        const bool head = methodMatches(route, "HEAD");
        return wrongMethod(std::string(route.method) + (head ? ", HEAD" : ""));
    }
    Plan plan;
    plan.action = route.action;
    if (route.action == Action::bus) {
        if (!readQuery(query, plan.key)) {
            return refused(400, "wrong query, accepted: below=PREFIX");
        }
    } else if (!query.empty()) {
        return refused(400, "no query is accepted here");
    }
    if (route.action == Action::set || route.action == Action::boot) {
        plan.key = path.substr(route.path.size());
    }
    return plan;
}

// Empty, or what is wrong with where the request comes from.
std::string foreign(const RequestHead& request) {
    if (!hostIsOurs(*request.host)) {
        return "this host is reached by its address or as localhost only";
    }
    if (request.origin && *request.origin != "http://" + *request.host) {
        return "requests of other sites' pages are refused";
    }
    return "";
}

// As announced; of what is no number, the most.
std::uint64_t bodyBytes(const RequestHead& request) {
    if (!request.length) {
        return 0;
    }
    const char* const end = request.length->data() + request.length->size();
    std::uint64_t length = 0;
    const auto [stop, error] = std::from_chars(request.length->data(), end, length);
    return error == std::errc{} && stop == end ? length : UINT64_MAX;
}

// Empty, or what is wrong with the request, whatever it is about.
std::optional<Plan> refusal(const RequestHead& request) {
    if (request.bytes > kMostHeadBytes) {
        const bool target = request.target.size() > kMostHeadBytes / 2;
        return refused(target ? 414 : 431, std::string(target ? "target" : "headers") +
                                               " too long, accepted: " +
                                               std::to_string(kMostHeadBytes) + " bytes in all");
    }
    if (request.hosts != 1) {
        return refused(400, "accepted: one Host header");
    }
    if (const std::string problem = foreign(request); !problem.empty()) {
        return refused(403, problem);
    }
    if (bodyBytes(request) > kMostBodyBytes) {
        return bodyTooLong();
    }
    return std::nullopt;
}

Plan planOfTarget(const RequestHead& request) {
    const std::string_view target = request.target;
    const std::size_t mark = std::min(target.find('?'), target.size());
    const auto path = percentDecoded(target.substr(0, mark));
    if (!path) {
        return refused(400, "wrong escape in the path, accepted: %01 to %FF");
    }
    const std::string_view query = target.substr(std::min(mark + 1, target.size()));
    for (const Route& route : kRoutes) {
        if (routeMatches(route, *path)) {
            return planRoute(route, request.method, *path, query);
        }
    }
    if (const Asset* const asset = findAsset(*path)) {
        return planAsset(request.method, *asset);
    }
    return refused(404, kAcceptedPaths);
}

}  // namespace

std::optional<std::string> percentDecoded(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (c == '%') {
            unsigned char byte = 0;
            const std::string_view code = text.substr(i + 1, 2);
            const char* const end = code.data() + code.size();
            if (code.size() != 2 || std::from_chars(code.data(), end, byte, 16).ptr != end) {
                return std::nullopt;
            }
            c = static_cast<char>(byte);
            i += 2;
        }
        if (c == '\0') {
            return std::nullopt;
        }
        result += c;
    }
    return result;
}

bool hostIsOurs(std::string_view host) {
    // ADDRESS, NAME or [ADDRESS], and perhaps :PORT. A forwarded port is another one than ours.
    std::string name;
    std::string_view port;
    if (host.starts_with('[')) {
        const std::size_t end = std::min(host.find(']'), host.size());
        name = host.substr(1, end - 1);
        port = host.substr(std::min(end + 1, host.size()));
        in6_addr address{};
        if (end == host.size() || inet_pton(AF_INET6, name.c_str(), &address) != 1) {
            return false;
        }
    } else {
        const std::size_t end = std::min(host.find(':'), host.size());
        name = host.substr(0, end);
        port = host.substr(end);
        std::array<char, 256> own{};
        gethostname(own.data(), own.size() - 1);
        in_addr address{};
        if (name != "localhost" && name != own.data() &&
            inet_pton(AF_INET, name.c_str(), &address) != 1) {
            return false;
        }
    }
    return port.empty() ||
           (port.starts_with(':') && port.size() <= 6 &&
            std::all_of(port.begin() + 1, port.end(), [](char c) { return c >= '0' && c <= '9'; }));
}

Plan planOf(const RequestHead& request) {
    const std::optional<Plan> no = refusal(request);
    Plan plan = no ? *no : planOfTarget(request);
    plan.atOnce = request.expects || bodyBytes(request) > kMostDiscardedBytes;
    return plan;
}

Plan bodyTooLong() {
    return refused(413, "body too long, accepted: " + std::to_string(kMostBodyBytes) + " bytes");
}

}  // namespace twin
