// Any pairs of lines, a topic and a payload, as what others publish. vestad is told of stations
// alone that were published under their own topic, and what is taken is the same when it is
// published again.

#include <set>

#include "companions/apbd/fakes.h"
#include "fuzz/message.h"
#include "support/fake_clock.h"

namespace {

using namespace fuzz;

void readTopic(const std::string& topic) {
    require(apbd::decodeLevel(apbd::encodeLevel(topic)) == topic);
    const apbd::Topics topics("root");
    const auto place = topics.place(topic);
    if (place && !place->mac.empty()) {
        const auto again = topics.place(topics.record({place->scope, place->mac}));
        require(again && again->scope == place->scope && again->mac == place->mac);
    }
}

void readRecord(const apbd::Key& key, const std::string& payload) {
    if (const auto record = apbd::decode(key, payload)) {
        const auto again = apbd::decode(key, apbd::encode(*record));
        require(again && again->user == record->user && again->version == record->version &&
                again->sessionTime == record->sessionTime && again->time == record->time);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    vesta::testing::FakeClock clock;
    apbd::FakeBroker broker;
    apbd::AccessPoint here(broker, "a", "02:00:00:00:aa:01");
    broker.connect(here.client, false);
    here.subscribe();
    broker.run();
    const std::vector<std::string> lines = linesOf(data, size);
    std::set<std::string> published;
    for (std::size_t i = 1; i < lines.size(); i += 2) {
        const std::string& topic = lines[i - 1];
        readTopic(topic);
        if (const auto place = apbd::Topics("root").place(topic)) {
            published.insert(place->mac);
            readRecord({place->scope, place->mac}, lines[i]);
        }
        here.sharing.received(topic, lines[i], 3600);
        here.sharing.tick();
    }
    for (const apbd::Json& message : here.bus.told) {
        require(readMessage(message.dump()) != nullptr);
        for (const apbd::Json& user : message.value("user", apbd::Json::array())) {
            require(published.count(apbd::textOf(user, "sta-mac")) == 1);
        }
    }
    return 0;
}
