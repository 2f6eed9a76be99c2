#pragma once

// How a client is written into a message. Peers read members by name, yet a factory may rely on the
// order in which it is called.
//
// Threads: under the lock of the client's instance.

#include <memory>

#include "core/message_entry.h"

namespace vesta {

class Client;
class ClientMessageFactory;
class ScenarioSequence;

// The client with its state and the scenarios behind the access point's own. Null when the
// factory's filter rejects it.
[[nodiscard]] std::shared_ptr<MessageEntry> dumpClient(const Client& client,
                                                       const ScenarioSequence& sequence,
                                                       ClientMessageFactory& factory);

// The client in short, with all of its scenarios. Null when the factory's filter rejects it.
[[nodiscard]] std::shared_ptr<MessageEntry> dumpClientScenarios(const Client& client,
                                                                const ScenarioSequence& sequence,
                                                                ClientMessageFactory& factory);

}  // namespace vesta
