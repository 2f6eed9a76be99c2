#include "loaded_portal.h"

#include <json-c/json.h>

#include <algorithm>

#include "apsim/associations.h"
#include "core/json_entry.h"
#include "ostrel/ipc.h"
#include "station/client_identity.h"
#include "station/client_statistic_info.h"
#include "stations.h"
#include "statistics/ipc_information_collector.h"

namespace vesta::bench {
namespace {

// An instance holds fewer stations than it may get that never were connected, so they come in
// portions.
constexpr std::size_t kPortion = 10000;

std::vector<std::string> answerFor(std::size_t stations, std::size_t instances) {
    apsim::Associations associations;
    for (std::size_t i = 0; i < stations; ++i) {
        const apsim::StationId id{interfaceOf(i % instances), macOf(i)};
        associations.associate(id);
        associations.count(id, 20000 + i, 200000 + 7 * i);
    }
    return associations.statisticsAnswer("1");
}

}  // namespace

LoadedPortal::LoadedPortal(std::size_t stations, std::size_t instances)
    : config_(std::make_shared<JsonEntry>(configurationText(instances))),
      portal_(std::make_shared<Portal>(bus(), config_, "", "")),
      statisticsAnswer_(answerFor(stations, instances)) {
    for (std::size_t from = 0; from < stations; from += kPortion) {
        admit(from, std::min(stations, from + kPortion), instances);
    }
    GatheredStatistics gathered;
    for (const std::string& frame : statisticsAnswer_) {
        json_object* const answer = json_tokener_parse(frame.c_str());
        const int status = &frame == &statisticsAnswer_.back() ? 0 : IPC_MORE_FOLLOWS;
        IPCInformationCollector::ipcResponseCallback(answer, portal_.get(), status, gathered);
        json_object_put(answer);
    }
}

std::shared_ptr<IpcInterface> LoadedPortal::bus() {
    static const auto bus = std::make_shared<IpcInterface>(ipc_tool_module(), true, 0);
    return bus;
}

void LoadedPortal::admit(std::size_t from, std::size_t to, std::size_t instances) {
    std::vector<ClientStatisticInfo> statistics;
    for (std::size_t i = from; i < to; ++i) {
        portal_->addClient(MacAddr(macOf(i)), ipOf(i), 1500, interfaceOf(i % instances));
        statistics.emplace_back(interfaceOf(i % instances), MacAddr(macOf(i)), 1, 1, 0, 0, 0, 0, 0,
                                0, 0, 1, 0);
    }
    portal_->responseCallback(statistics);
    for (std::size_t i = from; i < to; i += 2) {
        ClientIdentity identity({}, ipOf(i), "", "");
        portal_->authenticateClient(identity, loginOf(i), "secret");
    }
}

}  // namespace vesta::bench
