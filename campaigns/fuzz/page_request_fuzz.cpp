// What the page's server makes of a request's head, and the JSON that it makes of any bytes. The
// input is METHOD, TARGET, Host, Origin, Content-Length and Expect, one a line; an empty one is
// absent.
#include <array>
#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "twin/page/json.h"
#include "twin/page/requests.h"

namespace {

void require(bool good) {
    if (!good) {
        std::abort();
    }
}

std::optional<std::string> present(const std::string& text) {
    return text.empty() ? std::nullopt : std::optional(text);
}

// One line, whatever was asked.
bool isLine(const std::string& text) {
    return !text.empty() && text.find('\n') == std::string::npos;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(data, data + size);
    std::array<std::string, 6> parts;
    std::size_t begin = 0;
    for (std::string& part : parts) {
        const std::size_t end = std::min(input.find('\n', begin), input.size());
        part = input.substr(begin, end - begin);
        begin = std::min(end + 1, input.size());
    }
    twin::RequestHead head;
    head.method = parts[0];
    head.target = parts[1];
    head.host = present(parts[2]);
    head.hosts = head.host ? 1 : 0;
    head.origin = present(parts[3]);
    head.length = present(parts[4]);
    head.expects = !parts[5].empty();
    head.bytes = size;

    const twin::Plan plan = twin::planOf(head);
    if (plan.status == 200) {
        require(head.host && twin::hostIsOurs(*head.host));
        require(!head.origin || *head.origin == "http://" + *head.host);
        require(plan.action != twin::Action::asset || plan.asset != nullptr);
        require(plan.key.find('\0') == std::string::npos);
    } else {
        require(plan.status >= 400 && isLine(plan.problem));
    }

    using nlohmann::json;
    require(json::accept(twin::traceJson("1.250000 " + parts[0] + " " + input)));
    require(json::accept(twin::busJson({input, parts[1] + '\0' + parts[2]})));
    require(json::accept(twin::headSwitchedOff(input)));
    return 0;
}
