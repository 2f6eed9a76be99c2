#include "monitord/answer.h"

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>

namespace monitord {
namespace {

// Of a station with ordinary numbers.
constexpr std::size_t kUsualBytes = 160;
// Well within what the bus takes of bytes and of values.
constexpr std::size_t kStationsOfAFrame = 10000;

// Written by hand: at 10,000 stations a tree of JSON nodes would take longer than all the rest.
class Writer {
public:
    explicit Writer(std::string& text) : text_(text) {}

    Writer& operator<<(const char* text) {
        text_ += text;
        return *this;
    }
    Writer& operator<<(std::uint64_t number) {
        char digits[20];
        text_.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
        return *this;
    }
    Writer& operator<<(const Mac& mac) {
        constexpr const char* kDigits = "0123456789abcdef";
        for (std::size_t i = 0; i < mac.size(); ++i) {
            text_.append(i == 0 ? "" : ":").append(1, kDigits[mac[i] >> 4]);
            text_ += kDigits[mac[i] & 15U];
        }
        return *this;
    }

private:
    std::string& text_;
};

// A device's name may be almost anything; a quoted JSON text is not.
std::string quoted(const char* text) {
    return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace

std::vector<std::string> statisticsAnswer(const Stations& stations, const std::string& context,
                                          Time now) {
    const std::string head = "{" + (context.empty() ? "" : "\"context\":" + context + ",");
    std::vector<std::string> frames;
    std::string value;
    value.reserve(std::min(stations.count(), kStationsOfAFrame) * kUsualBytes);
    Writer out(value);
    std::size_t told = 0;
    std::string lastDevice;
    std::string deviceText;
    stations.forEach([&](const char* device, const Mac& mac, const Record& record) {
        if (!record.present) {
            return;
        }
        if (told > 0 && told % kStationsOfAFrame == 0) {
            frames.push_back(head + "\"more\":true,\"value\":[" + value + "]}");
            value.clear();
        }
        ++told;
        if (device != lastDevice) {
            lastDevice = device;
            deviceText = quoted(device);
        }
        const Time uptime = std::max<Time>(now - record.since, 0) / 1000;
        out << (value.empty() ? "" : ",") << "{\"interface\":" << deviceText.c_str()
            << ",\"hw-addr\":\"" << mac << "\",\"uptime\":" << static_cast<std::uint64_t>(uptime)
            << ",\"statistics\":{\"rx\":{\"bytes\":" << record.up.passed.bytes
            << ",\"packets\":" << record.up.passed.packets
            << "},\"tx\":{\"bytes\":" << record.down.passed.bytes
            << ",\"packets\":" << record.down.passed.packets << "}}}";
    });
    frames.push_back(head + "\"value\":[" + value + "]}");
    return frames;
}

}  // namespace monitord
