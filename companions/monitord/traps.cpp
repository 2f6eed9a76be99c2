#include "monitord/traps.h"

#include <algorithm>
#include <memory>
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

void Traps::write(const std::string& text) {
    const Json trap = Json::parse(text, nullptr, false);
    const auto event = trap.is_object() ? trap.find("event") : trap.end();
    if (event == trap.end() || !event->is_object()) {
        ostrel::report(ostrel::LogLevel::warning, "a trap without an object \"event\" is dropped");
        return;
    }
    const std::unique_ptr<cfg_t, void (*)(cfg_t*)> values(cfg_get_empty(), cfg_release);
    for (const auto& [name, value] : event->items()) {
        if (value.is_string()) {
            cfg_set_param(values.get(), name.c_str(), readable(value.get<std::string>()).c_str());
        }
    }
    syslog_.log_event(values.get());
}

}  // namespace monitord
