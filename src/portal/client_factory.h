#pragma once

// Makes the clients of an instance: of newly seen stations and of another access point's records.
//
// Threads: under the lock of the instance.

#include <memory>
#include <string>

#include "core/message_entry.h"

namespace vesta {

class Client;
class ClientMessageExtractor;
class MacAddr;
class PortalInstanceInterface;
class ScenarioSequenceFactory;

class ClientFactory {
public:
    // Both must outlive the factory. `owner` is the instance as its clients know it.
    ClientFactory(const ScenarioSequenceFactory& sequences, PortalInstanceInterface& owner)
        : sequences_(sequences), owner_(owner) {}

    // A client at the beginning of the instance's scenarios. `value` is its MTU in bytes.
    [[nodiscard]] std::shared_ptr<Client> build(const MacAddr& mac, const std::string& ip,
                                                unsigned int value) const;
    // A client in the scenario of the record, with the session time already spent there. Throws
    // ENTRY_EXCEPTION_TYPE when the record lacks its login, scenario or session time.
    [[nodiscard]] std::shared_ptr<Client> restore(
        const std::shared_ptr<MessageEntry>& record,
        const std::shared_ptr<ClientMessageExtractor>& extractor, const MacAddr& mac,
        const std::string& ip, unsigned int value) const;

private:
    const ScenarioSequenceFactory& sequences_;
    PortalInstanceInterface& owner_;
};

}  // namespace vesta
