#pragma once

// Stations are thrown off the air by no tool: a tool's thread reads the environment, which the next
// test changes.

#include "client/deauth_tool.h"
#include "core/singleton.h"

namespace vesta::testing {

struct NoDeauthTool {
    NoDeauthTool() { Singleton<DeauthTool>::getInstance().stop(); }
};

}  // namespace vesta::testing
