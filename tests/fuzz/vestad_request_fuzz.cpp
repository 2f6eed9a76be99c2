// Any lines as what vestad says to apbd, with a lost broker, its return or a second of time for a
// line that is no message. What comes of it are answers that vestad can read, and publications that
// another apbd can.

#include "companions/apbd/fakes.h"
#include "fuzz/message.h"
#include "support/fake_clock.h"

namespace {

using namespace fuzz;

void disturb(apbd::FakeBroker& broker, apbd::AccessPoint& accessPoint, std::size_t how) {
    if (how == 1 && accessPoint.client.connected) {
        broker.disconnect(accessPoint.client);
    } else if (how >= 2) {
        broker.connect(accessPoint.client, how == 2);
    }
    accessPoint.sharing.tick();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    vesta::testing::FakeClock clock;
    apbd::FakeBroker broker;
    apbd::AccessPoint here(broker, "a", "02:00:00:00:aa:01");
    apbd::AccessPoint there(broker, "b", "02:00:00:00:aa:02");
    for (apbd::AccessPoint* const one : {&here, &there}) {
        broker.connect(one->client, false);
        one->subscribe();
        broker.run();
    }
    for (const std::string& line : linesOf(data, size)) {
        if (line.size() < 5) {
            disturb(broker, here, line.size());
            clock.advanceSeconds(1);
        } else if (readMessage(line) != nullptr) {
            here.sharing.handleRequest(line, IPC_MODULE_VESTAD);
        }
        broker.run();
    }
    for (const apbd::AccessPoint* const one : {&here, &there}) {
        for (const apbd::Json& message : one->bus.told) {
            require(readMessage(message.dump()) != nullptr);
        }
    }
    const apbd::Topics topics("root");
    for (const auto& [topic, payload] : broker.retained) {
        const auto place = topics.place(topic);
        require(place && apbd::decode({place->scope, place->mac}, payload));
    }
    return 0;
}
