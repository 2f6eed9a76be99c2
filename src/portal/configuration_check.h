#pragma once

// Tells at the start what is wrong with a configuration that the daemon can run with nevertheless:
// a misspelled mode opens a network to everybody, a scenario's name that points nowhere leaves a
// station where it is.

#include "core/message_entry.h"

namespace vesta {

// One error record for each fault of the served VAPs, with its interface and key. Changes nothing.
void checkConfiguration(MessageEntry& document);

}  // namespace vesta
