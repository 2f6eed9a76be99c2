#include "e2e/daemon_test.h"

namespace vesta::testing {
namespace {

using apsim::Access;
using ::testing::ContainsRegex;

constexpr apsim::Milliseconds kPatience{10000};

struct Call {
    const char* arguments;
    int status;
    const char* text;  // of both streams, a regular expression
};

void expectAll(const std::vector<Call>& calls) {
    for (const Call& call : calls) {
        SCOPED_TRACE(call.arguments);
        ChildProcess vestactl;
        vestactl.start({"sh", "-c", VESTACTL_PROGRAM " " + std::string(call.arguments)},
                       ChildProcess::Output::heard);
        EXPECT_EQ(vestactl.waitForEnd(), call.status);
        EXPECT_THAT(vestactl.said(), ContainsRegex(call.text));
    }
}

TEST(VestactlUseTest, TellsWrongUseFromADaemonThatIsNotThere) {
    const RuntimeDirectory directory;
    const std::string nobody = "vestad doesn't answer in " + directory.path();
    expectAll({{"--help", 0, "Exit status: 0 done, 1 no daemon or no such client, 2 wrong use"},
               {"", 2, "subcommand is required"},
               {"fly", 2, "subcommand is required"},
               {"status now", 2, "not expected"},
               {"--timeout 0 status", 2, "not in range"},
               {"scenarios --mac 02:00:00:00:00:0a", 2, "requires --ssid"},
               {"disconnect --interface wlan0-va1", 2, "--mac is required"},
               {"validate-ip", 2, "ip is required"},
               {"status", 1, nobody.c_str()},
               {"validate-ip 10.1.0.5", 1, nobody.c_str()}});
}

class VestactlTest : public DaemonTest {};

TEST_F(VestactlTest, ShowsAndDisconnectsAClient) {
    apsim::Json document = config(7);
    apsim::Json& portal = document["interface"][0]["vap"]["captive-portal"];
    portal["verification-mode"] = "local";
    portal["scenarios"][1].update({{"transmit-maximum-speed", 2048},
                                   {"receive-maximum-speed", 512},
                                   {"traffic-limit", 7000}});
    serve(document);
    expectAll(
        {{"status", 0, "^MAC  IP  VAP .*\n0 clients\n$"}, {"scenarios", 0, "^no clients\n$"}});
    apsim::Station anna = accessPoint_->station("wlan0-va1", "02:00:00:00:00:0a", "10.1.0.5");
    anna.arrive();
    ASSERT_TRUE(anna.waitForAccess(Access::unauthed, kPatience));
    ASSERT_TRUE(anna.login("anna", "secret"));
    ASSERT_TRUE(anna.waitForAccess(Access::authed, kPatience));
    const char* const guest =
        "^02:00:00:00:00:0a  10.1.0.5  Guest  connected  Allow\n"
        "     NAME   URL +SESSION s  TIME s  TRAFFIC B  UP B/s  DOWN B/s\n"
        "     login  http://p/login +0 +0 +0 +0 +0\n"
        "  >  guest +0 +0 +7000 +524288 +2097152\n$";
    expectAll({{"status", 0,
                "^MAC +IP +VAP +SSID +STATUS +ACCESS +LOGIN +SESSION s +TRAFFIC B\n"
                "02:00:00:00:00:0a  10.1.0.5  wlan0-va1  Guest  connected  Allow   anna +[0-9] +0\n"
                "1 client\n$"},
               {"--json status", 0, "\"login\": \"anna\""},
               {"scenarios", 0, guest},
               {"scenarios --mac 02:00:00:00:00:0a --ssid Guest", 0, guest},
               {"validate-ip 10.1.0.5", 0, "cli-ip +10.1.0.5\n"},
               {"validate-ip 10.1.0.6", 1, "no connected client has the address 10.1.0.6"},
               {"--json validate-ip 10.1.0.6", 1, "\"result\": 0"},
               {"disconnect --interface wlan0-va1 --mac 02:00:00:00:00:0a", 0, "^asked;"}});
    EXPECT_TRUE(anna.waitForAccess(Access::unknown, kPatience));
}

}  // namespace
}  // namespace vesta::testing
