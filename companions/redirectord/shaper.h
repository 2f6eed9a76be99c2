#pragma once

// The speeds of stations, each direction for itself. What goes to a station waits in its class at
// the egress of its captive device; what it sends to the internet waits in its class at the egress
// of the uplink. Elements of two maps tell packets their class, so that a station has no rule.
//
// A station that has had a limit keeps its class, without one, until it is forgotten: what passed
// is counted behind the queues. Whoever counts takes what was sent to the station, takes from it
// what the element of the map has counted, and adds what the class has sent; so an element begins
// with what its class had sent before.
//
// All that holds is in the kernel: a new Shaper takes over what its predecessor left.
//
// Threads: one, that of the event loop.

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "redirectord/element_batch.h"
#include "redirectord/nft.h"
#include "redirectord/seams.h"
#include "redirectord/shaper_line.h"
#include "redirectord/shaper_queues.h"

namespace redirectord {

class Shaper : public ShaperLines {
public:
    // The base ruleset must stand. Keeps `nft`. `uplink` may be empty: then nothing limits what
    // stations send. Throws std::runtime_error when the maps and rules can't be made.
    Shaper(Nft& nft, std::string uplink, const std::vector<std::string>& captiveDevices);

    // A bad line, or one for a device that is not captive, is reported and changes nothing. A
    // limit for a device that is not there holds as soon as it comes.
    void shaperLine(std::string_view line) override;
    void deviceAppeared(const std::string& device) override;
    void forgetStation(const StationKey& station) override;
    // What holds; for a successor in the same process, whose tables somebody has removed.
    [[nodiscard]] std::map<StationKey, SpeedLimits> limits() const;
    void setLimits(const StationKey& key, const SpeedLimits& limits);
    // To be called once a second: gives the limits to an uplink that has come, or come again, and
    // to a device whose operator has removed the queues that were in our way.
    void look();

    // Removes the queues of all devices, also those of a predecessor. False, after a report, when
    // some stay.
    static bool removeQueues();

private:
    struct Station {
        std::uint16_t minor = 0;  // of its classes, on either device
        SpeedLimits limits;
        StationKey sender;  // under which the family inet knows it: a bridge in the port's place
    };
    using Stations = std::map<StationKey, Station>;

    void putRules();
    void takeOver();
    void takeOverClasses();
    void forgetUnlimited();
    // The station, made anew; the end when there is no room.
    Stations::iterator make(const StationKey& key);
    std::uint16_t takeMinor();
    [[nodiscard]] bool hasClass(const std::string& device, std::uint16_t minor) const;
    // The limits of a station's classes, and what its packets are told.
    void apply(const StationKey& key, Station& station, bool isNew);
    void setClass(const std::string& device, QueueRoot root, std::uint16_t minor,
                  std::uint32_t limit);
    [[nodiscard]] int tryClass(const std::string& device, QueueRoot root, std::uint16_t minor,
                               std::uint32_t limit);
    [[nodiscard]] int ensureRoot(const std::string& device, QueueRoot root);
    void setReceiver(const StationKey& key, std::uint16_t minor);
    void setSender(const StationKey& key, Station& station, bool isClassNew);
    void removeSender(const Station& station);
    static void run(ElementBatch& batch);

    Nft& nft_;
    bool hasRules_ = false;
    const std::string uplink_;
    const std::set<std::string> devices_;
    ShaperQueues queues_;
    ElementBatch receivers_;
    ElementBatch senders_;
    Stations stations_;                                  // all that have had a limit
    std::map<StationKey, std::uint16_t> minorOfSender_;  // the map of the family inet
    // A class that nobody needs stays, without a limit, for the next station: to make or to remove
    // one costs the kernel a walk through all classes of the device.
    std::uint16_t highestMinor_ = 0;
    std::set<std::uint16_t> idleMinors_;  // below the highest
    int uplinkIndex_ = 0;                 // when last looked at
    // Devices on which our root stands, and the classes there.
    std::map<std::string, std::set<std::uint16_t>> roots_;
    std::set<std::string> refused_;  // devices with a root of somebody else's, as reported
};

}  // namespace redirectord
