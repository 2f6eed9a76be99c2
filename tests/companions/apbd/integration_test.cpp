// Two apbd processes with a real broker between them.

#include <set>

#include "companions/apbd/fakes.h"
#include "support/broker.h"
#include "support/bus_peer.h"

namespace apbd {
namespace {

using vesta::testing::Broker;
using vesta::testing::ChildProcess;

// The other end of an apbd process, on the bus in a runtime directory of its own.
class Vestad {
public:
    Vestad(const std::string& runtime, std::string apMac)
        : runtime_(runtime), apMac_(std::move(apMac)), bus_(module()) {
        bus_.start({"connected", "disconnected", "subscribe-response", "add-response",
                    "update-response", "del-response", "add-notify", "update-notify",
                    "del-notify"});
    }

    bool send(const Json& request) {
        static_cast<void>(module());
        return bus_.ipc.send(request.dump(), IPC_MODULE_APBD);
    }
    bool subscribe() {
        return send({{"cmd", "subscribe-request"},
                     {"ap-mac", apMac_},
                     {"mobility-domain-list",
                      {{{"ssid", "Guest"}, {"radius-domain", ""}, {"mobility-domain", "hall"}}}}});
    }
    Json next(const std::string& command) { return bus_.next(command); }

private:
    // The bus looks up the runtime directory whenever it makes a socket.
    [[nodiscard]] ipc_module_t module() const {
        setenv("OSTREL_RUNTIME_DIR", runtime_.c_str(), 1);
        return IPC_MODULE_VESTAD;
    }

    const std::string runtime_;
    const std::string apMac_;
    vesta::testing::BusPeer bus_;
};

class IntegrationTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!Broker::possible()) {
            GTEST_SKIP() << "no mosquitto installed";
        }
        broker_.start();
        a_ = std::make_unique<Vestad>(directory_.path("a"), "02:00:00:00:ff:0a");
        b_ = std::make_unique<Vestad>(directory_.path("b"), "02:00:00:00:ff:0b");
        startApbd("a", *a_, apbdA_);
        startApbd("b", *b_, apbdB_);
    }

    void startApbd(const std::string& name, Vestad& vestad, ChildProcess& apbd) {
        setenv("OSTREL_RUNTIME_DIR", directory_.path(name).c_str(), 1);
        apbd.start({APBD_PROGRAM, "--port", broker_.port(), "--topic-root", "test/vestad"});
        EXPECT_EQ(vestad.next("connected")["command"], "connected");
        EXPECT_TRUE(vestad.subscribe());
    }
    // The answer that holds the state; one before it may say that there is no broker yet.
    static Json stateOf(Vestad& vestad) {
        Json answer = vestad.next("subscribe-response");
        while (answer.is_object() && answer["status"] == "failed") {
            answer = vestad.next("subscribe-response");
        }
        return answer;
    }
    // The MACs of a message's users.
    static std::set<std::string> macsOf(const Json& message) {
        std::set<std::string> macs;
        for (const Json& user : message.is_object() ? message["user"] : Json::array()) {
            macs.insert(user["sta-mac"]);
        }
        return macs;
    }

    ostrel::testing::TempDirectory directory_;
    Broker broker_{directory_.path()};
    ChildProcess apbdA_;
    ChildProcess apbdB_;
    std::unique_ptr<Vestad> a_;
    std::unique_ptr<Vestad> b_;
};

TEST_F(IntegrationTest, StationsAreSharedThroughOutagesAndCrashes) {
    ASSERT_TRUE(stateOf(*a_).is_object());
    ASSERT_TRUE(stateOf(*b_).is_object());
    const Json user = userOf(macOf(1));
    a_->send({{"cmd", "add-request"}, {"user", user}});
    EXPECT_EQ(macsOf(b_->next("add-notify")), std::set{macOf(1)});
    Json moved = user;
    moved.erase("scenario");
    b_->send({{"cmd", "update-request"}, {"action", "assoc"}, {"user", moved}});
    EXPECT_EQ(a_->next("update-notify")["action"], "assoc");
    a_->send({{"cmd", "del-request"}, {"reason", "forced"}, {"user", user}});
    EXPECT_TRUE(b_->next("del-notify").is_object());
    EXPECT_TRUE(b_->next("add-notify").is_object());

    // The broker goes, with all that it held.
    broker_.stop();
    b_->send({{"cmd", "add-request"}, {"user", userOf(macOf(2))}});
    EXPECT_EQ(b_->next("add-response")["status"], "success");
    broker_.start();
    EXPECT_EQ(macsOf(a_->next("add-notify")), std::set{macOf(2)});

    // An apbd dies without a word, and a record ends meanwhile.
    apbdB_.end(SIGKILL);
    a_->send({{"cmd", "del-request"}, {"reason", "away timeout"}, {"user", userOf(macOf(2))}});
    EXPECT_EQ(a_->next("del-response")["status"], "success");
    startApbd("b", *b_, apbdB_);
    EXPECT_EQ(macsOf(stateOf(*b_)), std::set{macOf(1)});

    EXPECT_EQ(apbdA_.end(SIGTERM), 0);
    EXPECT_TRUE(a_->next("disconnected").is_object());
}

TEST_F(IntegrationTest, AStateOfManyRecordsArrivesWhole) {
    constexpr std::size_t kCount = 1500;
    ASSERT_TRUE(stateOf(*a_).is_object());
    ASSERT_TRUE(stateOf(*b_).is_object());
    for (std::size_t number = 0; number < kCount; ++number) {
        ASSERT_TRUE(a_->send({{"cmd", "add-request"}, {"user", userOf(macOf(number))}}));
    }
    std::set<std::string> macs;
    while (macs.size() < kCount) {
        const Json message = b_->next("add-notify");
        ASSERT_TRUE(message.is_object()) << macs.size();
        macs.merge(macsOf(message));
    }
    apbdB_.end(SIGKILL);
    startApbd("b", *b_, apbdB_);
    const Json answer = stateOf(*b_);
    ASSERT_TRUE(answer.is_object());
    macs = macsOf(answer);
    EXPECT_EQ(macs.size(), 1000U);
    while (macs.size() < kCount) {
        const Json message = b_->next("add-notify");
        ASSERT_TRUE(message.is_object()) << macs.size();
        macs.merge(macsOf(message));
    }
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
