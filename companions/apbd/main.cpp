// apbd: the companion daemon that keeps the stations of an access point in step with the others.

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <random>
#include <thread>

#include "apbd/bus_adapter.h"
#include "apbd/options.h"
#include "common/program.h"

namespace {

enum Status { kOk = 0, kFailed = 1, kWrongInput = 2 };

// For the last publications to reach the broker, and for its connection to end.
constexpr std::chrono::milliseconds kPatience{1000};

// Different for every process of every access point.
std::string newInstance() {
    std::random_device random;
    char text[17];
    std::snprintf(text, sizeof text, "%08x%08x", random(), random());
    return text;
}

sigset_t endingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    return signals;
}

void waitForEnd() {
    const sigset_t signals = endingSignals();
    int number = 0;
    sigwait(&signals, &number);
}

int serve(const apbd::Options& options, apbd::Loop& loop, apbd::MqttBroker& broker,
          const std::string& instance) {
    apbd::BusAdapter bus(loop);
    apbd::Sharing sharing(bus, broker, options.topicRoot, instance, options.recordLifetime);
    loop.post([](apbd::Sharing& one) { one.begin(); });
    std::thread logic([&] { loop.run(sharing); });
    bus.start();
    broker.start();
    waitForEnd();
    loop.stop([](apbd::Sharing& one) { one.end(); }, kPatience);
    logic.join();
    return kOk;
}

}  // namespace

int main(int argc, char** argv) {
    apbd::Refusal refusal;
    const std::optional<apbd::Options> options = apbd::parseOptions(argc, argv, refusal);
    if (!options) {
        return refusal.status;
    }
    companion::reportToStandardError("apbd", options->verbose);
    const sigset_t signals = endingSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    const std::string instance = newInstance();
    apbd::Loop loop;
    int status = kFailed;
    try {
        apbd::MqttBroker broker(loop, options->broker, "apbd-" + instance);
        try {
            status = serve(*options, loop, broker, instance);
        } catch (const std::exception& error) {
            std::fprintf(stderr, "apbd: %s\n", error.what());
        }
        if (!broker.stop(kPatience)) {
            std::_Exit(status);  // its thread waits for the network, perhaps for minutes
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "apbd: %s\n", error.what());
        return kWrongInput;
    }
    return status;
}
