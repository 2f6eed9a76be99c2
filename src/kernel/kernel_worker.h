#pragma once

// The driver of a kernel module that reports new stations, hears of the events of all stations, and
// holds the white lists.

#include <memory>
#include <string>

#include "client/informator.h"
#include "core/event_listener.h"
#include "kernel/station_receiver.h"
#include "whitelist/white_addresses_list.h"

namespace vesta {

class KernelWorker : public EventListener, public Informator {
public:
    // `portal` must outlive the worker.
    explicit KernelWorker(StationReceiver& portal) : portal_(portal) {}

    // The address of the local HTTP proxy, dotted; "0.0.0.0" when the module tells none.
    virtual std::string getProxyIPv4() = 0;
    virtual bool insertWhiteList(std::shared_ptr<WhiteAddressesList>) = 0;
    virtual bool wipeWhiteLists() = 0;

protected:
    StationReceiver& portal_;
};

}  // namespace vesta
