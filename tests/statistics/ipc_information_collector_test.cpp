#include "statistics/ipc_information_collector.h"

#include "support/bus_peer.h"
#include "support/fake_clock.h"

namespace vesta::testing {
namespace {

using nlohmann::json;

class RecordingCaller final : public InformationCaller {
public:
    void responseCallback(std::vector<ClientStatisticInfo>& statistics) override {
        sizes.add(statistics.size());
        if (fails) {
            throw std::runtime_error("not now");
        }
    }

    bool fails = false;
    Collected<std::size_t> sizes;
};

class CollectorTest : public BusTest {
protected:
    ~CollectorTest() override { ipc->close(); }

    // What monitord is sent when the collector is called so often.
    std::vector<json> requestsOf(int calls) {
        for (int i = 0; i < calls; ++i) {
            collector.getClientsInformation(&caller);
        }
        std::vector<json> requests;
        for (const std::string& text : monitord.takeFrom(*ipc, IPC_MODULE_MONITORD_STATISTICS)) {
            requests.push_back(json::parse(text));
        }
        return requests;
    }
    void answer(const json& request, const json& value) {
        const json answer{{"context", request.at("context")}, {"value", value}};
        EXPECT_TRUE(monitord.ipc.send(answer.dump(), IPC_MODULE_VESTAD));
    }

    BusPeer monitord{IPC_MODULE_MONITORD_STATISTICS, {"get"}};
    RecordingCaller caller;
    IPCInformationCollector collector{ipc};
};

TEST_F(CollectorTest, AsksForTheStationsWithAtMostThreeRequestsUnderWay) {
    caller.fails = true;
    const std::vector<json> asked = requestsOf(10);
    ASSERT_EQ(asked.size(), 3U);
    EXPECT_EQ(asked[0]["path"], "associated-clients");
    answer(asked[0], json::parse(R"([{"interface": "w", "hw-addr": "02:00:00:00:00:01"}])"));
    answer(asked[1], json::object());
    answer(asked[2], json::array());
    EXPECT_EQ(caller.sizes.waitFor(2), (std::vector<std::size_t>{1, 0}));
    // The last answer may still be under way here.
    EXPECT_EQ(requestsOf(2).size(), 2U);
}

TEST_F(CollectorTest, TellsTheStationsOfAllFramesTogether) {
    const std::vector<json> asked = requestsOf(2);
    const auto frame = [&](const json& request, const json& value, bool more) {
        const json text{{"context", request.at("context")}, {"value", value}, {"more", more}};
        EXPECT_TRUE(monitord.ipc.send(text.dump(), IPC_MODULE_VESTAD));
    };
    const json one = json::parse(R"([{"interface": "w", "hw-addr": "02:00:00:00:00:01"}])");
    frame(asked[0], one, true);
    frame(asked[1], one, true);
    frame(asked[1], "no list", true);
    frame(asked[0], one, true);
    frame(asked[1], one, false);
    frame(asked[0], one, false);
    EXPECT_EQ(caller.sizes.waitFor(1), std::vector<std::size_t>{3});
    // The last answer may still be under way here.
    EXPECT_EQ(requestsOf(3).size() / 2, 1U);
}

// One that ended with requests unanswered is not waited for until their time is over.
TEST_F(CollectorTest, AsksEveryTwoSecondsWhereAnAnswerIsOwed) {
    FakeClock clock;
    std::string asked;
    for (int second = 0; second < 8; ++second) {
        asked += std::to_string(requestsOf(3).size());
        clock.advanceSeconds(1);
    }
    EXPECT_EQ(asked, "30101010");
}

// To ask more of one that is slow would only make it slower.
TEST(OpenQuestions, AreNoMoreWhereAnAnswerIsStillComing) {
    OpenQuestions questions;
    for (const bool asked : {true, true, true, false}) {
        EXPECT_EQ(questions.open(0), asked);
    }
    questions.hear(1500000);
    EXPECT_FALSE(questions.open(3499999));
    EXPECT_TRUE(questions.open(3500000));
}

TEST_F(BusTest, ARequestThatCouldNotBeSentDoesNotCountAndAMissingAnswerIsNotTold) {
    RecordingCaller caller;
    IPCInformationCollector collector(ipc);
    for (int i = 0; i < 5; ++i) {
        collector.getClientsInformation(&caller);
    }
    BusPeer monitord(IPC_MODULE_MONITORD_STATISTICS, {"get"});
    collector.getClientsInformation(&caller);
    EXPECT_EQ(monitord.takeFrom(*ipc, IPC_MODULE_MONITORD_STATISTICS).size(), 1U);
    ipc->close();
    IPCInformationCollector::ipcResponseCallback(nullptr, &caller, -1);
    EXPECT_TRUE(caller.sizes.take().empty());
}

}  // namespace
}  // namespace vesta::testing
