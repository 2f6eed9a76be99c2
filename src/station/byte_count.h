#pragma once

// The bytes that a station has used in one direction, out of a driver's counter that may begin
// anew: a reassociation or a restart of the driver sets it back to 0, and some drivers count with
// 32 bits.

#include <cstdint>

namespace vesta {

class ByteCount {
public:
    // Counts from the next reading on that is not 0.
    void start();
    // Takes the driver's latest reading.
    void update(std::uint64_t reading);

    // Bytes since the start; what was used before the counter began anew stays in it.
    [[nodiscard]] std::uint64_t used() const { return used_; }
    // The reading at which counting began; 0 when it has not.
    [[nodiscard]] std::uint64_t first() const { return first_; }

private:
    [[nodiscard]] bool wrapped(std::uint64_t reading) const;

    std::uint64_t used_ = 0;
    std::uint64_t first_ = 0;
    std::uint64_t last_ = 0;
    bool wide_ = false;  // the driver has shown more than 32 bits
};

}  // namespace vesta
