#pragma once

// apbd's place on the access point's bus: module 2.
//
// Threads: send() from any; one thread of its own takes the requests and posts them.

#include <string>
#include <thread>

#include "apbd/loop.h"
#include "apbd/sides.h"
#include "ostrel/ipc.h"

namespace apbd {

class BusAdapter final : public BusSide {
public:
    // Throws std::runtime_error when another apbd runs here or the bus can't be made.
    explicit BusAdapter(Loop& loop);
    ~BusAdapter() override;
    BusAdapter(const BusAdapter&) = delete;
    BusAdapter& operator=(const BusAdapter&) = delete;

    // Begins to take requests.
    void start();
    [[nodiscard]] bool send(const std::string& text, int module) override;

private:
    Loop& loop_;
    IpcInterface ipc_;
    std::thread thread_;
};

}  // namespace apbd
