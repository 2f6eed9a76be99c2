#pragma once

// The frame of the bus: a header of two unsigned 32-bit numbers in network order, payload length
// and sender's module number, then the payload.
//
// Threads: plain values and functions; a reader belongs to one thread.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ostrel::bus {

inline constexpr std::size_t kHeaderBytes = 8;
inline constexpr std::size_t kMaxPayloadBytes = 16 * 1024 * 1024;

struct Frame {
    std::uint32_t sender = 0;
    std::string payload;
};

// Header and payload as they travel. `payload` has at most kMaxPayloadBytes.
[[nodiscard]] std::string encodeFrame(std::uint32_t sender, std::string_view payload);

// Cuts a stream into frames, whatever the pieces in which it arrives. What it keeps grows with the
// bytes that have arrived, never with the length that a header claims.
class FrameReader {
public:
    // Takes the next bytes of the stream and appends the frames that they complete. False as soon
    // as a header claims more than kMaxPayloadBytes: the stream can't be read any further.
    [[nodiscard]] bool feed(std::string_view bytes, std::vector<Frame>& frames);

    // Whether a frame has begun and not ended.
    [[nodiscard]] bool midFrame() const { return headerFilled_ > 0; }

    // Of the payload of that frame, what has arrived.
    [[nodiscard]] std::size_t heldBytes() const { return frame_.payload.size(); }

    // The payload length in the header that was read last.
    [[nodiscard]] std::uint32_t claimedBytes() const { return length_; }

private:
    std::size_t fillHeader(std::string_view bytes);

    unsigned char header_[kHeaderBytes] = {};
    std::size_t headerFilled_ = 0;
    std::uint32_t length_ = 0;
    Frame frame_;
};

}  // namespace ostrel::bus
