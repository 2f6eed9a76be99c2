#pragma once

// A portal with its stations inside this process, on a bus where nobody else is and without kernel
// modules: what remains is the daemon's own work.

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "core/message_entry.h"
#include "portal/portal.h"

namespace vesta::bench {

class LoadedPortal {
public:
    // All stations are connected, every second one is logged in; they are dealt to the instances in
    // turn. Takes a second or two for 100,000.
    LoadedPortal(std::size_t stations, std::size_t instances);

    [[nodiscard]] const std::shared_ptr<Portal>& portal() const { return portal_; }
    [[nodiscard]] const std::shared_ptr<MessageEntry>& configuration() const { return config_; }
    // The bus of this process.
    static std::shared_ptr<IpcInterface> bus();

    // The frames that monitord answers with when all stations are associated.
    [[nodiscard]] const std::vector<std::string>& statisticsAnswer() const {
        return statisticsAnswer_;
    }

private:
    void admit(std::size_t from, std::size_t to, std::size_t instances);

    std::shared_ptr<MessageEntry> config_;
    std::shared_ptr<Portal> portal_;
    std::vector<std::string> statisticsAnswer_;
};

}  // namespace vesta::bench
