// Two apbd processes with a real broker between them.

#include <set>

#include "companions/apbd/fakes.h"
#include "support/broker.h"
#include "support/bus_peer.h"

namespace apbd {
namespace {

using vesta::testing::Broker;
using vesta::testing::ChildProcess;

// An apbd process on a bus of its own, whose vestad is the test. The bus looks up the runtime
// directory whenever it makes a socket.
class Member {
public:
    Member(std::string directory, std::string port)
        : directory_(std::move(directory)), port_(std::move(port)), vestad_(module()) {
        vestad_.start({"connected", "disconnected", "subscribe-response", "add-notify"});
        start();
    }
    void start() {
        static_cast<void>(module());
        apbd.start({APBD_PROGRAM, "--port", port_, "--topic-root", "test/vestad"});
        EXPECT_TRUE(next("connected").is_object());
        send({{"cmd", "subscribe-request"},
              {"ap-mac", "02:00:00:00:ff:0a"},
              {"mobility-domain-list",
               {{{"ssid", "Guest"}, {"radius-domain", ""}, {"mobility-domain", "hall"}}}}});
    }
    void send(const Json& request) {
        static_cast<void>(module());
        EXPECT_TRUE(vestad_.ipc.send(request.dump(), IPC_MODULE_APBD));
    }
    Json next(const std::string& command) { return vestad_.next(command); }
    // The MACs of the answer that holds the state, and of what follows it, until there are so many.
    // An answer before it may say that there is no broker yet.
    std::set<std::string> stateOf(std::size_t count) {
        std::set<std::string> macs;
        Json message = next("subscribe-response");
        while (message.is_object() && message["status"] == "failed") {
            message = next("subscribe-response");
        }
        while (message.is_object()) {
            for (const Json& user : message["user"]) {
                macs.insert(user["sta-mac"]);
            }
            message = macs.size() < count ? next("add-notify") : Json();
        }
        return macs;
    }

    ChildProcess apbd;

private:
    [[nodiscard]] ipc_module_t module() const {
        setenv("OSTREL_RUNTIME_DIR", directory_.c_str(), 1);
        return IPC_MODULE_VESTAD;
    }

    const std::string directory_;
    const std::string port_;
    vesta::testing::BusPeer vestad_;
};

TEST(IntegrationTest, AStateOfManyRecordsArrivesWhole) {
    if (!Broker::possible()) {
        GTEST_SKIP() << "no mosquitto installed";
    }
    constexpr std::size_t kCount = 1500;
    const ostrel::testing::TempDirectory directory;
    Broker broker(directory.path());
    broker.start();
    // What others may have left there, by mistake or not, must not hold it up.
    const std::string deep =
        userOf(macOf(kCount))
            .dump()
            .insert(1, R"("x":)" + std::string(29, '[') + std::string(29, ']') + ',');
    const std::string scope = "test/vestad/hall/Guest/";
    broker.retain(scope + macOf(kCount), R"({"action":"add","instance":"x","user":)" + deep + '}');
    broker.retain(scope + macOf(kCount + 1), std::string(100000, '['));
    broker.retain(scope + macOf(kCount + 2), std::string(17U << 20, ' '));
    Member a(directory.path("a"), broker.port());
    Member b(directory.path("b"), broker.port());
    a.stateOf(0);
    for (std::size_t number = 0; number < kCount; ++number) {
        a.send({{"cmd", "add-request"}, {"user", userOf(macOf(number))}});
    }
    EXPECT_EQ(b.stateOf(kCount).size(), kCount);
    b.apbd.end(SIGKILL);
    b.start();
    EXPECT_EQ(b.stateOf(kCount).size(), kCount);
    EXPECT_EQ(a.apbd.end(SIGTERM), 0);
    EXPECT_TRUE(a.next("disconnected").is_object());
}

TEST(CommandLineTest, WrongInputEndsWithTwo) {
    const ostrel::testing::TempDirectory directory;
    ostrel::testing::writeFile(directory.path("empty"), "");
    const std::vector<std::vector<std::string>> cases = {
        {"--port", "0"},
        {"--port", "70000"},
        {"--topic-root", "a/#"},
        {"--ca", directory.path("missing")},
        {"--cert", directory.path("empty")},
        {"--password-file", directory.path("empty")},
        {"--user", "anna", "--password-file", directory.path("empty")},
        {"--broker", ""},
        {"--what"},
    };
    setenv("OSTREL_RUNTIME_DIR", directory.path("runtime").c_str(), 1);
    for (const std::vector<std::string>& words : cases) {
        std::vector<std::string> arguments{APBD_PROGRAM};
        arguments.insert(arguments.end(), words.begin(), words.end());
        ChildProcess apbd;
        apbd.start(arguments);
        EXPECT_EQ(apbd.end(0), 2) << words.back();
    }
    ChildProcess help;
    help.start({APBD_PROGRAM, "--help"});
    EXPECT_EQ(help.end(0), 0);
}

}  // namespace
}  // namespace apbd
