#include "radius/radius_config.h"

#include <cstdint>
#include <limits>
#include <string_view>

#include "core/logger.h"

namespace vesta {
namespace {

class Reader {
public:
    Reader(MessageEntry& object, const std::string& interfaceName)
        : object_(object), interfaceName_(interfaceName) {}

    std::string text(const char* key) {
        return valueOr(std::string(), key, [&] { return object_.getCharValue(key); });
    }
    int number(const char* key) {
        return valueOr(0, key, [&] { return object_.getIntValue(key); });
    }
    bool flag(const char* key) {
        return valueOr(false, key, [&] { return object_.getBoolValue(key); });
    }
    librad_require_message_authenticator requirement(const char* key) {
        try {
            return object_.getBoolValue(key) ? LIBRAD_REQUIRE_ALWAYS : LIBRAD_REQUIRE_NEVER;
        } catch (ENTRY_EXCEPTION_TYPE problem) {
            if (problem != ENTRY_NOT_FOUND) {
                warn(key, problem);
            }
            return LIBRAD_REQUIRE_ONCE_SEEN;
        }
    }

private:
    template <class Value, class Read>
    Value valueOr(Value fallback, const char* key, Read read) {
        try {
            return read();
        } catch (ENTRY_EXCEPTION_TYPE problem) {
            warn(key, problem);
            return fallback;
        }
    }

    void warn(const char* key, ENTRY_EXCEPTION_TYPE problem) {
        logger().Warning("Key \"%s\" of \"radius\" of interface %s is %s\n", key,
                         interfaceName_.c_str(),
                         problem == ENTRY_NOT_FOUND ? "missing" : "of a wrong type");
    }

    MessageEntry& object_;
    const std::string& interfaceName_;
};

int libraryDebugLevel() {
    constexpr int kEveryPacket = 6;
    constexpr int kErrors = 1;
    const int level = logger().getLogLevel();
    if ((level & Logger::kDebugBit) != 0) {
        return kEveryPacket;
    }
    return (level & Logger::kErrorBit) != 0 ? kErrors : 0;
}

}  // namespace

librad_radius_server allocRadiusServer(const std::string& address, int port,
                                       const std::string& secret) {
    const bool isPort = port > 0 && port <= std::numeric_limits<std::uint16_t>::max();
    return {address, static_cast<std::uint16_t>(isPort ? port : 0), std::string_view(secret)};
}

RadiusConfig readRadiusConfig(MessageEntry& radius, RadiusWorkmode workmode,
                              const std::string& interfaceName) {
    Reader reader(radius, interfaceName);
    RadiusConfig config;
    config.client.realm = reader.text("domain");
    config.client.debugLevel = libraryDebugLevel();
    config.client.interfaceName = interfaceName;
    if ((workmode & RADIUS_WORKMODE_AUTHENTICATION) != 0) {
        const int port = reader.number("auth-port");
        config.client.authServers = {
            allocRadiusServer(reader.text("auth-address"), port, reader.text("auth-password"))};
        config.client.requireMessageAuthenticator =
            reader.requirement("auth-require-message-authenticator");
        config.sendAcctId = reader.flag("auth-acct-id-send");
    }
    if ((workmode & RADIUS_WORKMODE_ACCOUNTING) != 0) {
        const int port = reader.number("acct-port");
        config.client.acctServers = {
            allocRadiusServer(reader.text("acct-address"), port, reader.text("acct-password"))};
        const int interval = reader.flag("acct-periodic") ? reader.number("acct-interval") : 0;
        config.acctInterval = interval > 0 ? static_cast<unsigned int>(interval) : 0;
    }
    return config;
}

}  // namespace vesta
