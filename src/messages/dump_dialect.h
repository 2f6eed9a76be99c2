#pragma once

// The dialect in which the status queries "get" and "get-scenarios" are answered. Peers know three
// of its oddities: the AP location goes out as "mobility-domain"; ids and counts of scenarios are
// two less than ours, as the first two scenarios belong to the daemon alone; 64-bit traffic is cut
// to its low 32 bits.

#include "messages/table_message_factories.h"

namespace vesta {

// One object a client, without scenarios.
class IPCDumpClientMessageFactory : public TableClientMessageFactory {
public:
    IPCDumpClientMessageFactory();
};

// The same with the scenarios as an array.
class IPCDumpClientScenariosMessageFactory final : public IPCDumpClientMessageFactory {
public:
    std::shared_ptr<ScenarioMessageFactory> getScenarioMessageFactory() override;
};

// One object a scenario.
class IPCDumpScenarioMessageFactory final : public TableScenarioMessageFactory {
public:
    IPCDumpScenarioMessageFactory();
};

}  // namespace vesta
