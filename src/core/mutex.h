#pragma once

// The daemon's locks: the project's one annotated mutex under the daemon's own names.
//
// A thread that holds a lock takes only locks that stand further down here:
//   1. an instance holder's; a thread never holds two of these;
//   2. the apbd collaborator's, then the one that orders the changes of the kernel's white lists;
//   3. one of these, never two: a RADIUS worker's list of unanswered requests, a white-list
//      store's, the redirector worker's names of lists, what a sender shall tell its module, an
//      instance's white-list identifier, the deauth tool's queue, what a client shows to other
//      threads, the portal's questions to monitord;
//   4. the platform libraries' own, and the logger's last.
// So a thread that holds one of 2 to 4 calls neither the portal nor an instance holder.

#include "ostrel/mutex.h"

namespace vesta {

using ostrel::CondVar;
using ostrel::Mutex;
using ostrel::MutexLock;

}  // namespace vesta
