#pragma once

// The driver of a kernel module that reports new stations and keeps the white lists.

#include <memory>
#include <string>
#include <vector>

#include "client/informator.h"
#include "core/event_listener.h"
#include "station/mac_addr.h"
#include "whitelist/white_addresses_list.h"

namespace vesta {

// Hears of the new stations that a kernel module reports. Called on the worker's own thread, with
// no lock held.
class StationReceiver {
public:
    virtual ~StationReceiver() = default;
    // A station showed up on an interface. `value` is its MTU in bytes, as the module reports it.
    // True when the station is known now.
    virtual bool addClient(const MacAddr& mac, const std::string& ip, unsigned int value,
                           const std::string& interfaceName) = 0;
};

// It hears of the events of all stations, and tells the module.
class KernelWorker : public EventListener, public Informator {
public:
    // `portal` must outlive the worker.
    explicit KernelWorker(StationReceiver& portal) : portal_(portal) {}

    // The address of the local HTTP proxy, dotted; "0.0.0.0" when the module knows none.
    virtual std::string getProxyIPv4() = 0;
    // Hands the list to the module. False when the driver does not take it.
    virtual bool insertWhiteList(std::shared_ptr<WhiteAddressesList>) = 0;
    // Empties the module of lists. False when the driver does not do so.
    virtual bool wipeWhiteLists() = 0;
    // Takes these lists out of the module, which keeps the others. False when the driver does not
    // do so.
    virtual bool dropWhiteLists(const std::vector<std::string>& names) = 0;
    // Whether the module has all that it shall have: a good moment for a drop.
    [[nodiscard]] virtual bool isQuiet() const = 0;

protected:
    StationReceiver& portal_;
};

}  // namespace vesta
