#pragma once

// The two sides that apbd stands between, as its logic sees them. What they report comes back
// through the operations of Sharing, on the one thread that runs it.

#include <cstdint>
#include <string>
#include <vector>

namespace apbd {

// The access point's bus.
class BusSide {
public:
    virtual ~BusSide() = default;
    // Queues one JSON text for `module`; false when it isn't there or its queue is full.
    [[nodiscard]] virtual bool send(const std::string& text, int module) = 0;
};

// The broker. What is asked of it while it is not connected is lost.
class BrokerSide {
public:
    virtual ~BrokerSide() = default;
    // Takes `filters` in place of those before, and the topic `marker`; the filters bring their
    // retained messages again. Sharing::subscribed() follows once the broker has granted them.
    virtual void subscribe(const std::string& marker, const std::vector<std::string>& filters) = 0;
    // Brings the retained messages of these topics again, and then Sharing::subscribed().
    virtual void lookAt(const std::vector<std::string>& topics) = 0;
    // A retained message, which ends by itself after so many seconds; an empty one ends what stands
    // there.
    virtual void publish(const std::string& topic, const std::string& payload,
                         std::uint32_t lifetime) = 0;
    // A passing message that no full queue may cost.
    virtual void mark(const std::string& marker, const std::string& payload) = 0;
};

}  // namespace apbd
