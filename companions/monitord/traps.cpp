#include "monitord/traps.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "ostrel/runtime.h"

namespace monitord {
namespace {

using Json = nlohmann::json;

// Longer ones are cut: a record of the system log has about 1 KiB.
constexpr std::size_t kMostBytes = 128;

std::string readable(std::string text) {
    text.resize(std::min(text.size(), kMostBytes));
    std::replace_if(
        text.begin(), text.end(),
        [](char one) { return static_cast<unsigned char>(one) < ' ' || one == 0x7f; }, '?');
    return text;
}

}  // namespace

Event readTrap(const std::string& text) {
    const Json trap = Json::parse(text, nullptr, false);
    const auto found = trap.find("event");
    if (found == trap.end() || !found->is_object()) {
        return nullptr;
    }
    Event event(cfg_get_empty());
    for (const auto& [name, value] : found->items()) {
        if (value.is_string()) {
            cfg_set_param(event.get(), name.c_str(), readable(value.get<std::string>()).c_str());
        }
    }
    return event;
}

void Traps::write(const std::string& text) {
    if (const Event event = readTrap(text)) {
        syslog_.log_event(event.get());
    } else {
        ostrel::report(ostrel::LogLevel::warning, "a trap without an object \"event\" is dropped");
    }
}

}  // namespace monitord
