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

}  // namespace
}  // namespace vesta::testing
