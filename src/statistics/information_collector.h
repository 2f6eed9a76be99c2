#pragma once

// The collector asks for the statistics of all stations; the caller gets them.

#include <vector>

#include "station/client_statistic_info.h"

namespace vesta {

class InformationCaller {
public:
    virtual ~InformationCaller() = default;
    // Fresh statistics, on the collector's thread; not called when there was no usable answer.
    virtual void responseCallback(std::vector<ClientStatisticInfo>&) = 0;
};

class InformationCollector {
public:
    virtual ~InformationCollector() = default;
    // Asks for the statistics of all stations and returns at once. `caller` must live until the
    // answer can no longer come.
    virtual void getClientsInformation(InformationCaller* caller) = 0;
};

}  // namespace vesta
