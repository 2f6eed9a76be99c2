#include "kernel/kernel_white_list_store.h"

#include <gtest/gtest.h>

#include <thread>

#include "kernel/recording_portal.h"

namespace vesta::testing {
namespace {

// A module that knows the names of its lists, and that no two changes reach at the same time.
class FakeWorker final : public KernelWorker {
public:
    using KernelWorker::KernelWorker;

    bool handle() override { return true; }
    std::string getProxyIPv4() override { return ""; }
    bool insertWhiteList(std::shared_ptr<WhiteAddressesList> list) override {
        return change([&] { names.push_back(list->getName()); });
    }
    bool wipeWhiteLists() override {
        return change([&] { names.clear(); });
    }

    bool dropWhiteLists(const std::vector<std::string>& dropped) override {
        return change([&] {
            for (const std::string& name : dropped) {
                names.erase(std::find(names.begin(), names.end(), name));
            }
        });
    }
    bool isQuiet() const override { return true; }

    std::vector<std::string> names;

private:
    template <class Change>
    bool change(Change made) {
        EXPECT_FALSE(changing_.exchange(true));
        made();
        changing_ = false;
        return true;
    }

    std::atomic<bool> changing_{false};
};

TEST(KernelWhiteListStoreTest, AgreesWithTheModuleAfterChangesFromSeveralThreads) {
    RecordingPortal portal;
    FakeWorker worker{portal};
    KernelWhiteListStore store{worker};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 3; ++thread) {
        threads.emplace_back([&store, thread] {
            for (int i = 0; i < 200; ++i) {
                if (thread == 0 && i % 10 == 0) {
                    store.clearWhiteLists();
                } else {
                    store.addWhiteList(
                        std::make_shared<WhiteAddressesList>(std::to_string(i % 20), "x"));
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (int i = 0; i < 20; ++i) {
        const std::string name = std::to_string(i);
        EXPECT_EQ(std::count(worker.names.begin(), worker.names.end(), name),
                  store.getWhiteListHash(name).empty() ? 0 : 1);
    }
}

TEST(KernelWhiteListStoreTest, DropsAStationsOwnListWhenNobodyWantedItForTwoCalls) {
    RecordingPortal portal;
    FakeWorker worker{portal};
    KernelWhiteListStore store{worker};
    const auto list = [](const char* name) {
        return std::make_shared<WhiteAddressesList>(name, "x");
    };
    store.addWhiteList(list("domain"));
    store.addStationList(list("domain"));
    EXPECT_FALSE(store.hasStationLists());
    for (const char* name : {"own", "used", "both"}) {
        store.addStationList(list(name));
    }
    store.addWhiteList(list("both"));
    store.dropUnused({"used"});
    store.addStationList(list("own"));
    store.dropUnused({"used"});
    EXPECT_EQ(worker.names.size(), 4U) << "somebody has asked for it in between";
    store.dropUnused({"used"});
    EXPECT_EQ(worker.names, (std::vector<std::string>{"domain", "used", "both"}));
    EXPECT_EQ(store.getWhiteListHash("own"), "");
    store.dropUnused({});
    store.dropUnused({});
    EXPECT_EQ(worker.names.size(), 2U);
    EXPECT_FALSE(store.hasStationLists());
}

}  // namespace
}  // namespace vesta::testing
