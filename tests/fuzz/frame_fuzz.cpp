// The frame reader on any bytes in any pieces: the first byte gives the size of the pieces.
// Whatever the pieces, the frames are the same, and written again they give the stream that was
// read.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "bus/frame.h"
#include "bus/json_text.h"
#include "fuzz/input.h"

using fuzz::require;
using ostrel::bus::Frame;
using ostrel::bus::FrameReader;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::string stream(data + 1, data + size);
    const std::size_t piece = std::size_t{data[0]} + 1;

    FrameReader whole;
    std::vector<Frame> expected;
    const bool readable = whole.feed(stream, expected);

    FrameReader cut;
    std::vector<Frame> frames;
    bool stillReadable = true;
    for (std::size_t at = 0; at < stream.size() && stillReadable; at += piece) {
        stillReadable = cut.feed(std::string_view(stream).substr(at, piece), frames);
    }
    require(readable == stillReadable && frames.size() == expected.size());

    std::string written;
    ostrel::bus::JsonReader reader;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        require(frames[i].sender == expected[i].sender && frames[i].payload == expected[i].payload);
        written += ostrel::bus::encodeFrame(frames[i].sender, frames[i].payload);
        ostrel::bus::Json object;
        if (reader.read(frames[i].payload, object) == ostrel::bus::JsonReader::Kind::object) {
            static_cast<void>(ostrel::bus::commandOf(object.get()));
        }
    }
    require(stream.compare(0, written.size(), written) == 0);
    require(!readable || whole.midFrame() == (written.size() < stream.size()));
    return 0;
}
