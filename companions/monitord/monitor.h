#pragma once

// monitord's places on the bus: module 11 answers who is there, module 9 takes what happened.
//
// Threads: questions and traps come on the bus's threads; a question waits for the loop's thread,
// which alone touches the stations.

#include <string>
#include <thread>
#include <vector>

#include "common/event_loop.h"
#include "monitord/counters.h"
#include "monitord/hostapd_watch.h"
#include "monitord/presence.h"
#include "monitord/radio_stations.h"
#include "monitord/station_file.h"
#include "monitord/stations.h"
#include "monitord/traps.h"
#include "ostrel/ipc.h"
#include "ostrel/mutex.h"

namespace monitord {

struct Options {
    int goneAfterSeconds = 60;
    std::string hostapdDirectory = "/var/run/hostapd";
    bool verbose = false;
};

class Monitor {
public:
    // Joins the bus and the kernel's tables. Throws std::runtime_error when either is impossible.
    Monitor(companion::EventLoop& loop, const Options& options);
    ~Monitor();
    Monitor(const Monitor&) = delete;
    Monitor& operator=(const Monitor&) = delete;

private:
    struct Question {
        int sender;
        std::string context;  // JSON text, or ""
    };

    void takeQuestion(void* request, int sender) EXCLUDES(mutex_);
    void answerQuestions() EXCLUDES(mutex_);
    void sample();
    void tick();
    void askRadios(Time now);

    companion::EventLoop& loop_;
    const ostrel::Fd asked_;  // an eventfd: readable when there are questions
    CounterReader counters_;
    Stations stations_;
    Presence presence_;
    HostapdWatch hostapd_;
    RadioStations radios_;
    StationFile file_;
    Traps traps_;
    const Time lookEveryMs_;
    Time sampled_ = 0;
    Time looked_ = 0;
    Time saved_ = 0;

    ostrel::Mutex mutex_;
    std::vector<Question> questions_ GUARDED_BY(mutex_);

    IpcInterface statisticsBus_;
    IpcInterface trapBus_;
    std::thread statisticsThread_;
    std::thread trapThread_;
};

}  // namespace monitord
