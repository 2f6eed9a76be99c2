#pragma once

// What a companion may do of all that root may.

#include <sys/types.h>

#include <initializer_list>

namespace companion {

// Keeps the capabilities (CAP_... of linux/capability.h) that the process has of `kept`, gives up
// all others for good, and forbids new ones through exec. Call it before the first thread is made,
// after what only root can open was opened. A process without capabilities stays as it is. Throws
// std::system_error when the system refuses.
void keepOnlyCapabilities(std::initializer_list<unsigned int> kept);

}  // namespace companion
