#include "apsim/configuration_manager.h"

namespace apsim {

ConfigurationManager::ConfigurationManager(const std::string& config, EventLog& log,
                                           const std::string& runtimeDirectory)
    : answer_(R"({"command":"initial-config","config":)" + config + "}"),
      log_(log),
      module_(IPC_MODULE_CONFIGURATION,
              {{"get-initial-config",
                [this](void*, void*, int sender) {
                    log_.add({Party::configuration,
                              "get-initial-config",
                              {},
                              "module " + std::to_string(sender) + " asks for its configuration"});
                    module_.send(answer_, sender);
                }}},
              runtimeDirectory) {}

}  // namespace apsim
