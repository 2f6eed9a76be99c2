#pragma once

// Finds the client that an identity with several keys means. The session id decides; without one,
// the MAC; without both, whatever it has. The other keys must match too: a laptop that is named by
// its MAC and its user's name is never taken for the same user's phone.
//
// Threads: under the lock of the client's instance.

#include "client/client.h"
#include "station/client_identity.h"

namespace vesta {

// The identity with the deciding key alone, a session id as the MAC of its station. It matches
// nobody when there is no such session.
[[nodiscard]] ClientIdentity decidingKey(const ClientIdentity& identity);

// True also for an identity without a session id.
[[nodiscard]] bool matchesSession(const Client& client, const ClientIdentity& identity);

// Whether the client matches every one of session id, MAC and name that the identity has.
[[nodiscard]] bool matchesEveryKey(const Client& client, const ClientIdentity& identity);

}  // namespace vesta
