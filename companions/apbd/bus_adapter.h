#pragma once

// apbd's place on the access point's bus: module 2.
//
// Threads: send() may be called from any thread. A thread of the adapter's own takes vestad's
// requests and posts them to the loop.

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

    // Begins to take requests. Called once.
    void start();
    [[nodiscard]] bool send(const std::string& text, int module) override;

private:
    Loop& loop_;
    IpcInterface ipc_;
    std::thread thread_;
};

}  // namespace apbd
