#include "statistics/ipc_information_collector.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "support/bus_peer.h"
#include "support/json_support.h"

namespace vesta::testing {
namespace {

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

    std::vector<std::string> requests() {
        return monitord.takeFrom(*ipc, IPC_MODULE_MONITORD_STATISTICS);
    }
    // Answers a request with `value`.
    void answer(const std::string& request, const std::string& value) {
        const Json context(
            json_object_get(json_object_object_get(parseJson(request).get(), "context")),
            json_object_put);
        EXPECT_TRUE(monitord.ipc.send(std::string(R"({"context": )") +
                                          json_object_to_json_string(context.get()) +
                                          R"(, "value": )" + value + "}",
                                      IPC_MODULE_VESTAD));
    }

    BusPeer monitord{IPC_MODULE_MONITORD_STATISTICS, {"get"}};
    RecordingCaller caller;
    IPCInformationCollector collector{ipc};
};

TEST_F(CollectorTest, AsksForTheStationsAndHandsOnTheAnswer) {
    collector.getClientsInformation(&caller);
    const std::vector<std::string> asked = requests();
    ASSERT_EQ(asked.size(), 1U);
    const Json request = parseJson(asked[0]);
    EXPECT_STREQ(json_object_get_string(json_object_object_get(request.get(), "path")),
                 "associated-clients");
    answer(asked[0], R"([{"interface": "w", "hw-addr": "02:00:00:00:00:01"}])");
    EXPECT_EQ(caller.sizes.waitFor(1), std::vector<std::size_t>{1});
    collector.getClientsInformation(&caller);
    answer(requests().at(0), "[]");
    EXPECT_EQ(caller.sizes.waitFor(2), (std::vector<std::size_t>{1, 0}));
}

TEST_F(CollectorTest, HasAtMostThreeRequestsUnderWay) {
    caller.fails = true;
    for (int i = 0; i < 10; ++i) {
        collector.getClientsInformation(&caller);
    }
    const std::vector<std::string> asked = requests();
    ASSERT_EQ(asked.size(), 3U);
    answer(asked[0], "[]");
    answer(asked[1], "{}");
    answer(asked[2], "[]");
    EXPECT_EQ(caller.sizes.waitFor(2).size(), 2U);
    // The last answer may still be under way here.
    collector.getClientsInformation(&caller);
    collector.getClientsInformation(&caller);
    EXPECT_EQ(requests().size(), 2U);
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
