#include "bridge/reasons.h"

#include <mosquitto.h>
#include <mqtt_protocol.h>

#include <array>
#include <cerrno>
#include <string_view>
#include <system_error>

namespace bridge {

namespace {

struct Text {
    int code;
    const char* text;
};

constexpr std::array<Text, 8> kFailures = {{
    {MOSQ_ERR_CONN_LOST, "the broker has closed the connection"},
    {MOSQ_ERR_EAI, "there is no such host; check --mqtt"},
    {MOSQ_ERR_LOOKUP, "there is no such host; check --mqtt"},
    {MOSQ_ERR_KEEPALIVE, "the broker does not answer any more"},
    {MOSQ_ERR_PROTOCOL, "what answers is no MQTT 5 broker; check --mqtt"},
    {MOSQ_ERR_MALFORMED_PACKET, "what answers is no MQTT 5 broker; check --mqtt"},
    {MOSQ_ERR_RETAIN_NOT_SUPPORTED, "the broker keeps no retained messages; use another one"},
    {MOSQ_ERR_QOS_NOT_SUPPORTED, "the broker does not take QoS 1; use another one"},
}};

constexpr std::array<Text, 12> kReasons = {{
    {MQTT_RC_UNSUPPORTED_PROTOCOL_VERSION, "the broker does not speak MQTT 5; use another one"},
    {MQTT_RC_CLIENTID_NOT_VALID, "the broker does not take the head's name; choose another --name"},
    {MQTT_RC_BAD_USERNAME_OR_PASSWORD,
     "the broker does not take user or password; check --mqtt-user and --mqtt-password-file"},
    {MQTT_RC_NOT_AUTHORIZED,
     "the broker does not take user or password; check --mqtt-user and --mqtt-password-file"},
    {MQTT_RC_SERVER_UNAVAILABLE, "the broker is not available"},
    {MQTT_RC_SERVER_BUSY, "the broker is busy"},
    {MQTT_RC_BANNED, "the broker has banned this head"},
    {MQTT_RC_SERVER_SHUTTING_DOWN, "the broker shuts down"},
    {MQTT_RC_KEEP_ALIVE_TIMEOUT, "the broker has heard nothing of the head for too long"},
    {MQTT_RC_SESSION_TAKEN_OVER,
     "another client has taken over the head's name; give each head a --name of its own"},
    {MQTT_RC_QUOTA_EXCEEDED, "the head has passed a limit that the broker sets"},
    {MQTT_RC_ADMINISTRATIVE_ACTION, "somebody has ended the connection at the broker"},
}};

// What failures of TLS have in their text.
struct TlsText {
    std::string_view part;
    const char* text;
};

constexpr std::array<TlsText, 5> kTlsFailures = {{
    {"certificate verify failed",
     "the broker's certificate is not accepted; check its dates, its host name and --mqtt-ca"},
    {"wrong version number", "no TLS is spoken there; check the port, or use mqtt://"},
    {"unexpected eof", "no TLS is spoken there; check the port, or use mqtt://"},
    {"CA certificate", "the file of --mqtt-ca holds no certificate"},
    {"certificate \"", "the files of --mqtt-cert and --mqtt-key are of no use"},
}};

template <std::size_t Count>
const char* textOf(const std::array<Text, Count>& table, int code) {
    for (const Text& row : table) {
        if (row.code == code) {
            return row.text;
        }
    }
    return nullptr;
}

// A broker that has gone is noticed where something is read or where something is written.
int codeOf(const Failure& failure) {
    const bool gone = failure.errorNumber == EPIPE || failure.errorNumber == ECONNRESET;
    return failure.code == MOSQ_ERR_ERRNO && gone ? MOSQ_ERR_CONN_LOST : failure.code;
}

}  // namespace

std::string failureText(const Failure& failure) {
    const int code = codeOf(failure);
    // The broker's last word before it hangs up. It may come too early to be logged.
    if (failure.errorNumber == EPROTO || failure.detail.find(" alert ") != std::string::npos) {
        return failure.certified
                   ? "the broker does not take the head's certificate; check its dates and who "
                     "signed it"
                   : "the broker asks for the head's certificate; give --mqtt-cert and --mqtt-key";
    }
    for (const TlsText& row : kTlsFailures) {
        if (failure.detail.find(row.part) != std::string::npos) {
            return row.text;
        }
    }
    if (code == MOSQ_ERR_TLS) {
        return "TLS fails: " + failure.detail;
    }
    if (code == MOSQ_ERR_CONN_LOST && failure.connecting) {
        return "the broker closes the connection at once; if it wants TLS, say mqtts://";
    }
    if (const char* const text = textOf(kFailures, code); text != nullptr) {
        return text;
    }
    return code == MOSQ_ERR_ERRNO ? std::generic_category().message(failure.errorNumber)
                                  : mosquitto_strerror(code);
}

std::string reasonText(int reason) {
    const char* const text = textOf(kReasons, reason);
    return text != nullptr ? text : mosquitto_reason_string(reason);
}

}  // namespace bridge
