#include "apsim/bus_module.h"

#include <utility>

namespace apsim {

namespace {
constexpr int kBacklog = 50;
}

BusModule::BusModule(ipc_module_t module, IpcInterface::CommandTable commands,
                     const std::string& runtimeDirectory)
    : ipc_(module, false, kBacklog, runtimeDirectory), commands_(std::move(commands)) {
    thread_ = std::thread([this] { ipc_.process(commands_); });
}

BusModule::~BusModule() {
    ipc_.stop();
    thread_.join();
}

}  // namespace apsim
