#include "station/byte_count.h"

namespace vesta {
namespace {

constexpr std::uint64_t kWrap = 1ULL << 32;
constexpr std::uint64_t kGiB = 1ULL << 30;

}  // namespace

void ByteCount::start() {
    used_ = 0;
    first_ = 0;
}

void ByteCount::update(std::uint64_t reading) {
    if (first_ == 0) {
        first_ = reading;
    } else if (reading >= last_) {
        used_ += reading - last_;
    } else {
        used_ += wrapped(reading) ? kWrap - last_ + reading : reading;
    }
    last_ = reading;
    wide_ = wide_ || reading > kWrap;
}

// Every other fall is a beginning at 0.
bool ByteCount::wrapped(std::uint64_t reading) const {
    return !wide_ && last_ > 3 * kGiB && reading < kGiB;
}

}  // namespace vesta
