#pragma once

// Which accounting servers have been told that this NAS begins its work (Accounting-On, RFC 2866
// section 5.1). The server closes all sessions of the NAS then. So the message goes out once in a
// process, before the first Start of any client, and the records of all clients wait for it.
//
// Threads: every function from any thread. A client's lock may be held; this lock is taken after
// it.

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
        announce,  // the caller's client tells it
        wait,      // another client tells it; the caller's client is told when that is over
    };

    static AccountingOn& instance();

    [[nodiscard]] Turn take(const std::string& server, std::weak_ptr<Client> client)
        EXCLUDES(mutex_);
    // The Accounting-On was answered or given up; a server that ignores it must not lose the
    // sessions. Returns the clients that wait.
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

// The message, with the NAS attributes of a Start. Null when they do not fit.
[[nodiscard]] MessagePtr makeAccountingOn(const librad_radius_msg& start);

}  // namespace ostrel::radius
