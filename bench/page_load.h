#pragma once

// Browsers: many connections at a time to a port of loopback, each from the address of its station.
//
// Threads: one.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace vesta::bench {

struct PageLoad {
    std::vector<double> milliseconds;  // of each visit, from its connection to its last answer
    double seconds = 0;                // of all together
    std::size_t wrong = 0;             // visits that did not end as they should

    [[nodiscard]] double perSecond() const;
    [[nodiscard]] double median() const;
    [[nodiscard]] double longest() const;
};

// 127.1.0.0 and on.
std::string loopbackOf(std::size_t station);

// Makes `visits` visits, `together` at a time, the first by station `first`. A visit is one request
// after the other, each on a connection of its own: `next` gets the answer to the one before ("" at
// first) and gives the next request; "" ends the visit. `isRight` judges the last answer. Throws
// std::runtime_error when nothing happens for ten seconds.
PageLoad visitPages(std::uint16_t port, std::size_t first, std::size_t visits, std::size_t together,
                    const std::function<std::string(const std::string& answer)>& next,
                    const std::function<bool(const std::string& answer)>& isRight);

}  // namespace vesta::bench
