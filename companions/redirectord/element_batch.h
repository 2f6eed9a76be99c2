#pragma once

// Elements that come and go while packets run, written to the kernel by netlink: 20 µs a batch,
// whatever else stands in the tables. The same through libnftables reads every interval set of the
// machine first, the operator's own too: 8 ms beside one list of 5,000 subnets.
//
// Threads: one at a time. The socket belongs to the network namespace in which it was made.

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "netlink/set_reader.h"
#include "ostrel/runtime.h"

namespace redirectord {

using companion::TableFamily;

class ElementBatch {
public:
    // For the sets and maps of `table netdev vesta`, or of the family inet. Throws
    // std::system_error when there is no netlink.
    explicit ElementBatch(TableFamily family = TableFamily::netdev);

    // Each adds one operation. A key stands as the kernel holds it: StationKey::bytes(), or an
    // address in network order. To add what is there already is nothing; to remove what is not
    // there, or to add it with another value, fails the batch.
    void add(const std::string& set, std::string_view key);
    void addFor(const std::string& set, std::string_view key, std::chrono::milliseconds life);
    void addMark(const std::string& map, std::string_view key, std::uint32_t mark);
    // With a counter that begins with what was counted before.
    void addClass(const std::string& map, std::string_view key, std::uint32_t id,
                  const companion::Traffic& counted);
    void addJump(const std::string& map, std::string_view key, const std::string& chain);
    void remove(const std::string& set, std::string_view key);

    [[nodiscard]] bool empty() const { return operations_ == 0; }
    // Carries out what was added, as one transaction: all or nothing, visible to packets all at
    // once. Then the batch is empty. The result is 0 or the error number, ENOENT for a set, map or
    // removed element that is not there.
    [[nodiscard]] int run();

private:
    // An operation on one element: its key, then what `put` appends.
    template <class Put>
    void append(std::uint16_t type, const std::string& set, std::string_view key, Put put);
    void mark(std::uint16_t type);
    [[nodiscard]] int result();

    const TableFamily family_;
    ostrel::Fd socket_;
    std::vector<char> bytes_;
    std::size_t size_ = 0;
    std::size_t operations_ = 0;
    std::uint32_t sequence_ = 0;
};

}  // namespace redirectord
