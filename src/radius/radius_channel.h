#pragma once

// A worker's way to its RADIUS servers: the library's client, and the attributes that all requests
// have in common.
//
// Threads: any. close() waits for the library's callbacks, so its caller holds no lock that they
// take.

#include <atomic>
#include <chrono>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>

#include "core/logger.h"
#include "ostrel/librad.h"

namespace vesta {

struct FreeRadiusMessage {
    void operator()(librad_radius_msg* msg) const { librad_radius_msg_free(msg); }
};
using RadiusMessagePtr = std::unique_ptr<librad_radius_msg, FreeRadiusMessage>;

// Runs `react` for a callback of the library, which must not throw. An exception is logged with
// `failure`, and `fallback` returned.
template <class Result, class React>
Result withoutException(const char* failure, Result fallback, React react) {
    try {
        return react();
    } catch (const std::exception& problem) {
        logger().Error("%s: %s\n", failure, problem.what());
    } catch (...) {
        logger().Error("%s\n", failure);
    }
    return fallback;
}

class RadiusChannel {
public:
    // Which NAS-IP-Address a request may carry: only the interface's present one, or, for a session
    // that has begun, also the last one that was known.
    enum class NasAddress { current, lastKnown };

    // `interfaceName` is the interface whose IPv4 address is the NAS-IP-Address. Throws
    // std::runtime_error when the system lets no client be made, after three attempts with
    // `retryDelay` behind each.
    RadiusChannel(const librad_radius_client_config& config, const std::string& interfaceName,
                  std::chrono::seconds retryDelay);
    ~RadiusChannel() { close(); }
    RadiusChannel(const RadiusChannel&) = delete;
    RadiusChannel& operator=(const RadiusChannel&) = delete;

    // Ends all exchanges: no callback runs after it, and nothing may be sent.
    void close();

    void setHandler(void* context, librad_radius_handler handler);
    void setGiveUp(void* context, librad_radius_give_up giveUp);

    // An Access-Request with a Request Authenticator, `mac` (6 bytes) mixed in. Null on failure.
    [[nodiscard]] RadiusMessagePtr newAccessRequest(const unsigned char* mac);
    // Append NAS-IP-Address and NAS-Identifier, Framed-IP-Address (unless `ip` is no address) and
    // Framed-MTU. False when that fails, which is logged.
    [[nodiscard]] bool insertAdditionAttributes(librad_radius_msg* msg, NasAddress which);
    [[nodiscard]] static bool insertClientAdditionAttributes(librad_radius_msg* msg,
                                                             const std::string& ip,
                                                             std::uint32_t mtu);
    // Sends for the station with that address (6 bytes, or null). False when it can't be sent.
    [[nodiscard]] bool send(RadiusMessagePtr msg, librad_radius_kind kind,
                            const unsigned char* mac);

private:
    void initRadiusClient(const librad_radius_client_config& config,
                          std::chrono::seconds retryDelay);

    const std::string interfaceName_;
    librad_radius_client* radiusClient_ = nullptr;
    std::atomic<std::uint32_t> lastNasAddress_{0};  // network order, 0 = none yet
};

}  // namespace vesta
