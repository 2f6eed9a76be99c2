// What a notification of apbd costs a collaborator with many records, against one with few.

#include <benchmark/benchmark.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "apb/apbd_collaborator.h"
#include "bus/json_text.h"
#include "comparison.h"
#include "core/json_entry.h"
#include "loaded_portal.h"
#include "model_bench.h"
#include "records.h"
#include "results.h"
#include "table.h"

namespace vesta::bench {
namespace {

constexpr std::size_t kFew = 10;
constexpr std::size_t kMany = 5000;
// Not the whole of a pair, so that the texts are in the processor's caches for both sides.
constexpr std::size_t kPortion = 20;
constexpr double kMostGrowth = 1.25;

using Handler = void (APBDCollaborator::*)(std::shared_ptr<MessageEntry>);

struct Notification {
    std::string (*textOf)(std::size_t station);
    Handler handler;
};
const std::vector<Notification> kUpdate = {{updateNotify, &APBDCollaborator::handleUpdateClients}};
const std::vector<Notification> kDelAndAdd = {{delNotify, &APBDCollaborator::handleDeleteClients},
                                              {addNotify, &APBDCollaborator::handleAddClients}};

struct Message {
    std::size_t station;
    std::string text;
    Handler handler;
};

// Collaborators that have kMany records altogether, however many one of them has, beside a portal
// without stations. So both sides of a comparison go through as much memory: what differs is what
// one collaborator knows, not what the caches hold.
class Domain {
public:
    explicit Domain(std::size_t recordsOfOne) : recordsOfOne_(recordsOfOne) {
        const auto config =
            std::make_shared<JsonEntry>(R"({"captive-portal": {"apbd": {"enabled": true}}})");
        for (std::size_t first = 0; first < kMany; first += recordsOfOne) {
            collaborators_.push_back(
                std::make_shared<APBDCollaborator>(config, LoadedPortal::bus(), portal_.portal()));
            tell({first, subscriptionAnswer(first, recordsOfOne),
                  &APBDCollaborator::subscribedNotify});
        }
    }

    // What the bus does with the text, and the work of the collaborator that knows the station.
    void tell(const Message& message) {
        ostrel::bus::Json node;
        if (reader_.read(message.text, node) == ostrel::bus::JsonReader::Kind::object) {
            APBDCollaborator& apbd = *collaborators_[message.station / recordsOfOne_];
            (apbd.*message.handler)(std::make_shared<JsonEntry>(node.get()));
        }
    }

private:
    const std::size_t recordsOfOne_;
    LoadedPortal portal_{0, 1};
    std::vector<std::shared_ptr<APBDCollaborator>> collaborators_;
    ostrel::bus::JsonReader reader_;
};

// Of stations in no order.
std::vector<Message> portionOf(const std::vector<Notification>& notifications) {
    static std::mt19937 random(1);
    std::vector<Message> messages;
    for (std::size_t i = 0; i < kPortion; ++i) {
        const std::size_t station = random() % kMany;
        for (const Notification& notification : notifications) {
            messages.push_back({station, notification.textOf(station), notification.handler});
        }
    }
    return messages;
}

void compare(benchmark::State& state, const std::vector<Notification>& notifications) {
    static const auto many = std::make_unique<Domain>(kMany);
    static const auto few = std::make_unique<Domain>(kFew);
    const auto tellAll = [](Domain& domain, const std::vector<Message>& messages) {
        for (const Message& message : messages) {
            domain.tell(message);
        }
    };
    Comparison comparison;
    for (auto _ : state) {
        const std::vector<Message> before = portionOf(notifications);
        const std::vector<Message> messages = portionOf(notifications);
        // The side that comes first would pay for the code that the making of texts drove out.
        tellAll(*many, before);
        tellAll(*few, before);
        comparison.add([&] { tellAll(*many, messages); }, [&] { tellAll(*few, messages); });
    }
    comparison.report(state);
}

void notifyUpdate(benchmark::State& state) {
    compare(state, kUpdate);
}
void notifyDelAndAdd(benchmark::State& state) {
    compare(state, kDelAndAdd);
}
BENCHMARK(notifyUpdate)->Unit(benchmark::kMillisecond);
BENCHMARK(notifyDelAndAdd)->Unit(benchmark::kMillisecond);

}  // namespace

void printNotificationRows(const Results& results) {
    const std::pair<const char*, const char*> rows[] = {
        {"an update-notify", "notifyUpdate"},
        {"a del-notify and an add-notify", "notifyDelAndAdd"}};
    for (const auto& [what, benchmark] : rows) {
        if (!results.has(benchmark)) {
            continue;
        }
        const double ratio = results.median(benchmark, kRatio);
        printRow(std::string(what) + " at 5,000 records / at 10",
                 "at most 1.25 (constant but for a map's depth)",
                 twoDigits(ratio) + " (" + twoDigits(results.median(benchmark, kWork) / kPortion) +
                     " / " + twoDigits(results.median(benchmark, kBase) / kPortion) + " us)",
                 ratio <= kMostGrowth);
    }
}

}  // namespace vesta::bench
