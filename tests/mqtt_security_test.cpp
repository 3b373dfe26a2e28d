// The broker's sample configuration for a site as it stands, and what a person reads where a head
// and its broker do not trust each other.
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "broker.h"
#include "paths.h"

namespace {

using testing::AllOf;
using testing::AnyOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr int kNotAuthorized = 0x87;

// Keys, certificates and passwords: an authority, the broker's and a head's certificate by it, an
// expired one of each, and a head's by somebody else.
constexpr const char* kMakeCredentials = R"(
set -e
cd "$1"
mkdir certs ca_certificates
request() {
    openssl req -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -subj "/CN=$1" -keyout "$1.key" "${@:2}"
}
issue() {
    request "$1" -out "$1.csr"
    openssl x509 -req -in "$1.csr" -CA "$2.crt" -CAkey "$2.key" -CAcreateserial -days "$3" \
        -extfile <(echo subjectAltName=DNS:localhost) -out "$1.crt"
}
request authority -x509 -days 2 -out authority.crt
request stranger -x509 -days 2 -out stranger.crt
issue broker authority 2
issue oldbroker authority -1
issue head authority 2
issue oldhead authority -1
issue strange stranger 2
cp authority.crt ca_certificates/ca.crt
cp broker.crt broker.key certs/
for user in cam7 cam8 olga victor; do
    touch kestrel-passwords
    mosquitto_passwd -b kestrel-passwords "$user" "word of $user"
    echo "word of $user" >"$user.password"
done
: >empty
)";

class Site {
public:
    explicit Site(const std::string& more = "")
        : broker(replaced(replaced(readSource("packaging/mosquitto/site.conf"), "/etc/mosquitto",
                                   "@DIRECTORY@"),
                          "listener 8883", "user root\nlistener @PORT@ 127.0.0.1") +
                 more) {
        std::ofstream(broker.pathOf("make")) << kMakeCredentials;
        Process make({"/bin/bash", broker.pathOf("make"), broker.directory});
        const std::string output = make.finish();
        EXPECT_EQ(make.status, 0) << output;
        std::filesystem::copy(sourcePath("packaging/mosquitto/site.acl"),
                              broker.pathOf("kestrel-acl"));
        broker.start();
    }

    std::vector<std::string> headOptions(const std::string& user = "cam7") const {
        return wordsOf("--mqtt mqtts://localhost:" + std::to_string(broker.port) + " --mqtt-user " +
                       user + " --mqtt-ca " + broker.pathOf("authority.crt") +
                       " --mqtt-password-file " + broker.pathOf(user + ".password"));
    }
    Account account(const std::string& user) const {
        return {user, "word of " + user, broker.pathOf("authority.crt")};
    }

    Broker broker;
};

TEST(MqttSecurityRealClock, AtASiteEverybodyDoesAndSeesWhatTheRulesSay) {
    Site site;
    Client victor(site.broker, "#", site.account("victor"));
    Client olga(site.broker, "#", site.account("olga"));
    Head head(site.broker, site.headOptions());
    victor.readTo("kestrel/cam7/state online");
    const auto publish = [&](const std::string& user, const std::string& topic) {
        return Client(site.broker, "nothing", site.account(user)).publish(topic, "r:1");
    };
    for (const char* const user : {"victor", "cam8"}) {
        EXPECT_EQ(publish(user, "kestrel/cam7/set/lens/camN/zoom"), kNotAuthorized) << user;
    }
    EXPECT_EQ(publish("olga", "kestrel/cam7/bus/lens/camN/zoom"), kNotAuthorized);
    EXPECT_EQ(publish("olga", "answers/victor/1"), kNotAuthorized);
    EXPECT_EQ(publish("cam8", "kestrel/cam8/bus/lens/camN/pan"), 0);
    Client cam8(site.broker, "#", site.account("cam8"));
    EXPECT_EQ(
        olga.publish("kestrel/cam7/set/lens/camN/zoom", "r:2", {false, "answers/olga/1", "now"}),
        0);
    EXPECT_THAT(olga.readTo("answers/olga/1 ok"), Contains("kestrel/cam8/bus/lens/camN/pan r:1"));
    // A head that is made to speak where it may not stays where it is.
    olga.publish("kestrel/cam7/set/lens/test/mark", "1", {false, "elsewhere", ""});
    olga.readTo("kestrel/cam7/error elsewhere: the broker does not take it: Not authorized");
    olga.publish("kestrel/cam7/set/lens/test/mark", "2");
    EXPECT_THAT(victor.readTo("kestrel/cam7/bus/lens/test/mark 2"),
                AllOf(Contains("kestrel/cam7/bus/lens/camN/zoom r:2"),
                      Not(Contains("kestrel/cam7/state offline"))));
    EXPECT_THAT(head.setsOf("lens.camN.zoom"), ElementsAre("r:2"));
    victor.readTo("kestrel/cam7/state offline");
    for (const Received& message : victor.received()) {
        EXPECT_THAT(message.topic, AnyOf("kestrel/cam7/state", "kestrel/cam7/info",
                                         StartsWith("kestrel/cam7/bus/")));
    }
    for (const Received& message : cam8.received()) {
        EXPECT_THAT(message.topic, AnyOf(StartsWith("kestrel/cam8/")));
    }
}

TEST(MqttSecurityRealClock, WhoIsNotTrustedReadsOnePlainLineAboutIt) {
    Site site;
    Site strict("require_certificate true\n");
    Site expired;
    expired.broker.kill();
    for (const char* const end : {".crt", ".key"}) {
        std::filesystem::copy(expired.broker.pathOf(std::string("oldbroker") + end),
                              expired.broker.pathOf(std::string("certs/broker") + end),
                              std::filesystem::copy_options::overwrite_existing);
    }
    expired.broker.start();
    const auto own = [&](const std::string& certificate) {
        return std::vector<std::string>{"--mqtt-cert", strict.broker.pathOf(certificate + ".crt"),
                                        "--mqtt-key", strict.broker.pathOf(certificate + ".key")};
    };
    const std::string foreignUrl = "mqtts://127.0.0.1:" + std::to_string(site.broker.port);
    const std::string plainUrl = "mqtt://localhost:" + std::to_string(site.broker.port);
    const struct {
        const Site& site;
        std::vector<std::string> more;
        const char* line;
    } cases[] = {
        {site,
         {"--mqtt-password-file", site.broker.pathOf("cam8.password")},
         "does not take user or password; check --mqtt-user and --mqtt-password-file"},
        {site, {"--mqtt-password-file", site.broker.pathOf("empty")}, "no password in "},
        {site,
         {"--mqtt-user", "victor", "--mqtt-password-file", site.broker.pathOf("victor.password")},
         "the broker does not let the head tell its state; check the account's rights"},
        {site,
         {"--mqtt-ca", site.broker.pathOf("stranger.crt")},
         "the broker's certificate is not accepted; check its dates, its host name and --mqtt-ca"},
        {site, {"--mqtt", foreignUrl}, "the broker's certificate is not accepted"},
        {expired, {}, "the broker's certificate is not accepted"},
        {strict, {}, "the broker asks for the head's certificate; give --mqtt-cert and --mqtt-key"},
        {strict, own("oldhead"),
         "the broker does not take the head's certificate; check its dates"},
        {strict, own("strange"),
         "the broker does not take the head's certificate; check its dates"},
        {strict, own("head"), ": online as cam7, "},
    };
    for (const auto& each : cases) {
        std::vector<std::string> options = each.site.headOptions();
        options.insert(options.end(), each.more.begin(), each.more.end());
        Head head(each.site.broker, options);
        head.process.readTo(each.line);
    }
    Head plain(site.broker, {"--mqtt", plainUrl});
    plain.process.readTo("the broker closes the connection at once; if it wants TLS, say mqtts://");
}

}  // namespace
