#pragma once

// A RadiusWorker that asks a server about stations, without an instance and without kernel modules:
// each station is asked about again as soon as it is decided.
//
// Threads: one thread makes it and calls run(); the rest happens on RadiusListener's.

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "client/client.h"
#include "radius/radius_worker.h"
#include "support/fake_portal_instance.h"

namespace vesta::bench {

class RadiusLoad {
public:
    struct Result {
        double seconds;
        std::size_t undecided;  // when no more decisions come
    };

    RadiusLoad(std::uint16_t port, const std::string& secret);
    ~RadiusLoad();
    RadiusLoad(const RadiusLoad&) = delete;
    RadiusLoad& operator=(const RadiusLoad&) = delete;

    // `count` authentications by password (PAP) of this many stations at once.
    Result run(std::size_t count, std::size_t stations);

private:
    using Clock = std::chrono::steady_clock;

    static librad_radius_rx_result onAnswer(librad_radius_msg* msg, librad_radius_msg* request,
                                            unsigned char* secret, unsigned int length, void* self);
    void onDecided(const std::shared_ptr<Client>& client);
    void addStations(std::size_t until);

    testing::FakePortalInstance owner_;
    std::shared_ptr<RadiusWorker> worker_;
    std::vector<std::shared_ptr<Client>> clients_;
    // Authentications of the run that are still to be asked for, and to be decided.
    std::atomic<std::size_t> unasked_{0};
    std::atomic<std::size_t> undecided_{0};
    std::promise<Clock::time_point> ended_;
};

}  // namespace vesta::bench
