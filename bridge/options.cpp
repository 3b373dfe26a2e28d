#include "bridge/options.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

namespace bridge {

namespace {

constexpr std::size_t kLongestName = 64;

bool isPlain(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '-';
}

// Letters, digits, _ and -, and of `others` what stands between them.
bool isName(std::string_view text, std::string_view others) {
    return !text.empty() && text.size() <= kLongestName &&
           std::all_of(text.begin(), text.end(), [others](char c) {
               return isPlain(c) || others.find(c) != std::string_view::npos;
           });
}

bool takePort(Options& options, std::string_view text) {
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, options.port);
    return error == std::errc{} && stop == end && options.port >= 1 && options.port <= 65535;
}

bool takeUrl(Options& options, const char* value) {
    constexpr std::string_view kPlain = "mqtt://";
    constexpr std::string_view kTls = "mqtts://";
    std::string_view text = value;
    options.wanted = true;
    options.tls = text.starts_with(kTls);
    options.port = options.tls ? 8883 : 1883;
    if (!options.tls && !text.starts_with(kPlain)) {
        return false;
    }
    text.remove_prefix(options.tls ? kTls.size() : kPlain.size());
    if (text.ends_with('/')) {
        text.remove_suffix(1);
    }
    // The colons of an IPv6 address are between brackets.
    const bool bracketed = text.starts_with('[');
    const std::size_t end = bracketed ? text.find(']') : text.find(':');
    if (bracketed && end == std::string_view::npos) {
        return false;
    }
    options.host = text.substr(bracketed ? 1 : 0, bracketed ? end - 1 : end);
    text.remove_prefix(std::min(bracketed ? end + 1 : end, text.size()));
    if (!text.empty() && (!text.starts_with(':') || !takePort(options, text.substr(1)))) {
        return false;
    }
    return !options.host.empty() && options.host.find_first_of("@/ ") == std::string::npos;
}

bool takeName(Options& options, const char* value) {
    options.name = value;
    return isName(value, ".");
}

bool takeBase(Options& options, const char* value) {
    const std::string_view text = value;
    options.base = text;
    return isName(text, "./") && !text.starts_with('/') && !text.ends_with('/') &&
           text.find("//") == std::string_view::npos;
}

bool takeFamilies(Options& options, const char* value) {
    std::string_view rest = value;
    options.families.clear();
    for (bool more = true; more;) {
        const std::size_t comma = rest.find(',');
        std::string_view family = rest.substr(0, comma);
        if (family.ends_with('.')) {
            family.remove_suffix(1);
        }
        if (!isName(family, "")) {
            return false;
        }
        if (std::find(options.families.begin(), options.families.end(), family) ==
            options.families.end()) {
            options.families.emplace_back(family);
        }
        more = comma != std::string_view::npos;
        rest.remove_prefix(more ? comma + 1 : rest.size());
    }
    return true;
}

bool takeUser(Options& options, const char* value) {
    options.user = value;
    return !options.user.empty();
}

template <std::string Options::*File>
bool takeFile(Options& options, const char* value) {
    options.*File = value;
    return access(value, R_OK) == 0;
}

constexpr const char* kReadable = "a file that can be read";

constexpr std::array<OptionRow, 9> kRows = {{
    {"mqtt", "URL", "put the bus on the MQTT broker at mqtt://HOST[:1883] or mqtts://HOST[:8883]",
     takeUrl, "mqtt://HOST[:PORT] or mqtts://HOST[:PORT]"},
    {"name", "NAME", "the head's name in the topics", takeName,
     "at most 64 letters, digits and any of . _ -"},
    {"base", "BASE", "what the topics begin with, kestrel if not said", takeBase,
     "at most 64 letters, digits and any of . _ -, with / between"},
    {"families", "LIST", "the bus's families that are forwarded, such as lens,image", takeFamilies,
     "names with commas between"},
    {"mqtt-user", "USER", "the head's account on the broker", takeUser, "a name"},
    {"mqtt-password-file", "FILE", "its password is the first line of that file",
     takeFile<&Options::passwordFile>, kReadable},
    {"mqtt-ca", "FILE", "who signs the broker's certificate; without it, whom the system trusts",
     takeFile<&Options::caFile>, kReadable},
    {"mqtt-cert", "FILE", "the head's own certificate", takeFile<&Options::certificateFile>,
     kReadable},
    {"mqtt-key", "FILE", "the key of that certificate", takeFile<&Options::keyFile>, kReadable},
}};

}  // namespace

std::span<const OptionRow> optionRows() {
    return kRows;
}

bool takeOption(Options& options, const OptionRow& row, const char* value) {
    if (row.take != takeUrl) {
        options.other = "--" + std::string(row.name);
    }
    return row.take(options, value);
}

std::string optionsProblem(const Options& options) {
    if (!options.wanted) {
        return options.other.empty() ? "" : options.other + " is accepted with --mqtt only";
    }
    if (options.name.empty()) {
        return "--mqtt needs the head's name, accepted: --name NAME";
    }
    if (options.certificateFile.empty() != options.keyFile.empty()) {
        return "--mqtt-cert and --mqtt-key are accepted together only";
    }
    if (!options.tls && !(options.caFile + options.certificateFile).empty()) {
        return "certificates are accepted with --mqtt mqtts://HOST only";
    }
    if (!options.passwordFile.empty() && options.user.empty()) {
        return "--mqtt-password-file is accepted with --mqtt-user only";
    }
    return {};
}

}  // namespace bridge
