#pragma once

// Reads HTTP requests: finds where one ends in a stream of bytes, and takes it apart with
// cpp-httplib. Its server has a thread for each connection, which a station holds as long as it
// likes by sending slowly. So its reader alone is used, on requests that have arrived whole.
//
// Threads: one object belongs to one thread.

#include <httplib.h>

#include <optional>
#include <string>

#include "portald/messages.h"

namespace portald {

// What has arrived of a request.
enum class Arrival { partly, whole, tooLarge, unreadable };

// The most bytes that a request may have, and its body alone.
constexpr std::size_t kMostRequestBytes = 16384;
constexpr std::size_t kMostBodyBytes = 4096;

// What `bytes`, the beginning of a connection, amount to. `looked` is where an earlier call on a
// shorter piece of the same stream left off; 0 at first.
[[nodiscard]] Arrival arrivalOf(const std::string& bytes, std::size_t& looked);

class RequestReader : private httplib::Server {
public:
    RequestReader();

    // The request in `bytes`, which have arrived whole; nothing when it is none. The addresses are
    // left for the caller.
    [[nodiscard]] std::optional<Asked> read(const std::string& bytes);

private:
    void take(const httplib::Request& request);

    std::optional<Asked> asked_;
};

}  // namespace portald
