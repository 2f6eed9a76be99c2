#include "monitord/answer.h"

#include <charconv>
#include <nlohmann/json.hpp>

namespace monitord {
namespace {

// Of a station with ordinary numbers.
constexpr std::size_t kUsualBytes = 160;

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

std::string statisticsAnswer(const Stations& stations, const std::string& context, Time now) {
    std::string text;
    text.reserve(64 + context.size() + stations.count() * kUsualBytes);
    Writer out(text);
    out << "{" << (context.empty() ? "" : "\"context\":") << context.c_str()
        << (context.empty() ? "" : ",") << "\"value\":[";
    const char* separator = "";
    std::string lastDevice;
    std::string deviceText;
    stations.forEach([&](const char* device, const Mac& mac, const Record& record) {
        if (!record.present) {
            return;
        }
        if (device != lastDevice) {
            lastDevice = device;
            deviceText = quoted(device);
        }
        const Time uptime = std::max<Time>(now - record.since, 0) / 1000;
        out << separator << "{\"interface\":" << deviceText.c_str() << ",\"hw-addr\":\"" << mac
            << "\",\"uptime\":" << static_cast<std::uint64_t>(uptime)
            << ",\"statistics\":{\"rx\":{\"bytes\":" << record.up.bytes
            << ",\"packets\":" << record.up.packets << "},\"tx\":{\"bytes\":" << record.down.bytes
            << ",\"packets\":" << record.down.packets << "}}}";
        separator = ",";
    });
    out << "]}";
    return text;
}

}  // namespace monitord
