#include "frame.h"

#include <algorithm>
#include <utility>

namespace ostrel::bus {
namespace {

void appendNumber(std::string& out, std::uint32_t number) {
    for (int shift = 24; shift >= 0; shift -= 8) {
        out.push_back(static_cast<char>(number >> shift & 0xffU));
    }
}

std::uint32_t readNumber(const unsigned char* bytes) {
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        number = number << 8 | bytes[i];
    }
    return number;
}

}  // namespace

std::string encodeFrame(std::uint32_t sender, std::string_view payload) {
    std::string out;
    out.reserve(kHeaderBytes + payload.size());
    appendNumber(out, static_cast<std::uint32_t>(payload.size()));
    appendNumber(out, sender);
    out.append(payload);
    return out;
}

bool FrameReader::feed(std::string_view bytes, std::vector<Frame>& frames) {
    while (!bytes.empty()) {
        if (headerFilled_ < kHeaderBytes) {
            bytes.remove_prefix(fillHeader(bytes));
            if (headerFilled_ < kHeaderBytes) {
                return true;
            }
            length_ = readNumber(header_);
            frame_.sender = readNumber(header_ + 4);
            if (length_ > kMaxPayloadBytes) {
                return false;
            }
        }
        const std::size_t wanted = length_ - frame_.payload.size();
        frame_.payload.append(bytes.substr(0, wanted));
        bytes.remove_prefix(std::min(wanted, bytes.size()));
        if (frame_.payload.size() == length_) {
            frames.push_back(std::exchange(frame_, Frame{}));
            headerFilled_ = 0;
        }
    }
    return true;
}

std::size_t FrameReader::fillHeader(std::string_view bytes) {
    const std::size_t taken = std::min(kHeaderBytes - headerFilled_, bytes.size());
    std::transform(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(taken),
                   header_ + headerFilled_, [](char c) { return static_cast<unsigned char>(c); });
    headerFilled_ += taken;
    return taken;
}

}  // namespace ostrel::bus
