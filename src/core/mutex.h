#pragma once

// The daemon's locks: the project's one annotated mutex under the daemon's own names.
//
// Order, outermost first; a thread that holds one takes only locks further down:
//   1. an instance holder's mutex (never two at once);
//   2. the apbd collaborator's, then the one that orders the kernel white-list store's changes;
//   3. leaves, never two at once: a RADIUS worker's pending list, the white-list store's, what the
//      redirector worker has told its module, an instance's white-list identifier, the deauth
//      queue's, what a client lets other threads read, the portal's questions to
//      monitord;
//   4. the platform libraries' own, the logger's last.
// So nobody calls the portal or a holder while holding anything of 2 to 4.

#include "ostrel/mutex.h"

namespace vesta {

using ostrel::CondVar;
using ostrel::Mutex;
using ostrel::MutexLock;

}  // namespace vesta
