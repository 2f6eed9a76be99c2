#pragma once

// Has the traffic shaper module limit the speed of the stations of one instance. Each event becomes
// one command, which is written on the thread of the module's file.

#include <memory>
#include <string>
#include <utility>

#include "client/informator.h"
#include "modules/module_file.h"

namespace vesta {

class ShaperModuleWorker final : public Informator {
public:
    // `file` is openFile()'s; the instances share it.
    ShaperModuleWorker(const std::string& instanceName, std::shared_ptr<ModuleFile> file)
        : instanceName_(instanceName), file_(std::move(file)) {}

    // The shaper's control file. A missing one is reported with the operation that missed it first.
    static std::shared_ptr<ModuleFile> openFile();

    bool informClientAuthenticated(std::shared_ptr<Client>, ClientStatisticInfo&) override;
    bool informUpdateClient(std::shared_ptr<Client>, ClientStatisticInfo&) override;
    bool informClientDeuthenticated(std::shared_ptr<Client>, ClientStatisticInfo&) override;
    bool informClientRemoved(std::shared_ptr<Client>, ClientStatisticInfo&) override;

    // Both return true: the command waits for a module that does not take it. Nothing is written
    // for a station without limits, except its deletion and the end of limits that it had.
    bool applyClientConstraints(std::shared_ptr<Client>);
    bool deleteClientConstraints(std::shared_ptr<Client>);

private:
    void write(const std::string& mac, const std::string& command, StateSender::Kind kind);
    [[nodiscard]] std::string stationOf(const std::string& mac) const {
        return instanceName_ + " " + mac;
    }
    void writeDeletion(const std::string& mac);

    const std::string instanceName_;
    const std::shared_ptr<ModuleFile> file_;
};

}  // namespace vesta
