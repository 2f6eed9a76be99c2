#pragma once

// Which client an identity of several keys means. Of the keys given the session id decides, else
// the MAC, else what is left; the others only confirm, so that a user's laptop that is named by its
// MAC and the user's name is never taken for the user's phone.
//
// Threads: under the lock of the client's instance.

#include "client/client.h"
#include "station/client_identity.h"

namespace vesta {

// The identity with the deciding key alone; a session id has become the MAC of its station. Matches
// nobody when there is no such session.
[[nodiscard]] ClientIdentity decidingKey(const ClientIdentity& identity);

// Whether the identity's session id, where there is one, is that of the client's session.
[[nodiscard]] bool matchesSession(const Client& client, const ClientIdentity& identity);

// Whether the client matches the identity's session id, MAC and name, those of them that are given.
[[nodiscard]] bool matchesEveryKey(const Client& client, const ClientIdentity& identity);

}  // namespace vesta
