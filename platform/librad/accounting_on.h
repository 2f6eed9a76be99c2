#pragma once

// Which accounting servers have been told that this NAS begins its work (Accounting-On, RFC 2866
// section 5.1). A server closes all sessions of the NAS on it, so it goes once in a process,
// whichever client's Start comes first, and the others' records wait for it.
//
// Threads: every function from any thread; the lock is taken inside a client's.

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "message.h"
#include "ostrel/mutex.h"

namespace ostrel::radius {

class Client;

class AccountingOn {
public:
    enum class Turn {
        proceed,   // the server knows
        announce,  // the caller's client is the one to tell it
        wait,      // another client is telling it; the caller's client is called when that is over
    };

    static AccountingOn& instance();

    [[nodiscard]] Turn take(const std::string& server, std::weak_ptr<Client> client)
        EXCLUDES(mutex_);
    // The Accounting-On was answered, or given up, which settles it as well: a server that ignores
    // it must not lose the sessions. Returns the clients that wait.
    [[nodiscard]] std::vector<std::weak_ptr<Client>> settle(const std::string& server)
        EXCLUDES(mutex_);

private:
    struct Server {
        bool settled = false;
        std::vector<std::weak_ptr<Client>> waiting;
    };

    Mutex mutex_;
    std::map<std::string, Server> servers_ GUARDED_BY(mutex_);
};

// The message itself, for the NAS of a Start. Null when it does not fit.
[[nodiscard]] MessagePtr makeAccountingOn(const librad_radius_msg& start);

}  // namespace ostrel::radius
