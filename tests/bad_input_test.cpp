// Input that no service should send: the daemon goes on.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "app/bus_keys.h"
#include "session.h"

namespace {

const std::string kGarbage[] = {"",
                                " ",
                                "-",
                                ":",
                                ",,,,",
                                "99999999999999999999999",
                                "-99999999999999999999999",
                                "4294967296",
                                "-2147483648",
                                "a:99999999999",
                                "r:-99999999999",
                                "r:2147483647",
                                "left:-2147483648",
                                "right:-2147483648",
                                "up:2147483648",
                                "down:-99999999999999999999",
                                "%s%n%d%99999d",
                                "\x01\xff\xfe\x7f",
                                std::string(127, '9'),
                                std::string(127, ','),
                                std::string(127, 'a')};

TEST(BadInput, InAnyKeyLeavesTheDaemonAlive) {
    std::vector<std::string> keys = {"lens.camN.light.onvif_mode",
                                     "lens.camN.light.relay1.mode",
                                     "lens.camN.light.relay19.timeout",
                                     "lens.camN.light.front_left.state",
                                     "lens.camN.zoomstatus",
                                     "lens.camN.irisstatus",
                                     "event.camN.light.flash",
                                     "event.camN.light.brightness"};
    for (const BusKey& key : busKeys()) {
        keys.emplace_back(key.key);
    }
    for (const std::string& key : keys) {
        std::string script = "run 1\n";
        for (const std::string& value : kGarbage) {
            script += "set " + key + " " + value + "\nrun 0.3\n";
        }
        const Session run = Camera(Positions{}).run(script + "set image.camN.flip on\nrun 1");
        EXPECT_EQ(run.status, 0) << key << ": " << run.errors;
        EXPECT_EQ(run.trace.count("log giFlip=1"), 1) << key;
    }
}

}  // namespace
