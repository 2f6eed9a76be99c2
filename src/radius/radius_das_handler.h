#pragma once

// The disconnect server (RFC 5176): a RADIUS server that knows the secret of a station's instance
// may end the station's session.
//
// Threads: the callbacks run on the thread of RadiusListener. Whoever destroys a handler holds no
// lock that the directory takes.

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "ostrel/librad.h"
#include "radius/session_directory.h"
#include "station/client_identity.h"

namespace vesta {

class RadiusDasHandler {
public:
    static constexpr std::uint16_t kPort = 3799;

    // Listens from now on; requests are handled as soon as the loop runs. A port that is taken is
    // tried again once a minute. Port 0: any that is free.
    explicit RadiusDasHandler(std::shared_ptr<SessionDirectory> portal, std::uint16_t port = kPort);
    ~RadiusDasHandler();
    RadiusDasHandler(const RadiusDasHandler&) = delete;
    RadiusDasHandler& operator=(const RadiusDasHandler&) = delete;

    // Makes sure that the loop runs.
    void run();
    // The port that is listened on; 0 while it is taken.
    [[nodiscard]] std::uint16_t getPort() const;

    // The library's callbacks; `self` is the handler.
    static unsigned char* getSharedKey(void* self, unsigned int* length,
                                       librad_radius_das_attrs* attrs);
    static int handleDasDissconnect(void* self, librad_radius_das_attrs* attrs);

    // The identity that a request names.
    static ClientIdentity extractDefiningAttributes(const librad_radius_das_attrs* attrs);
    static std::string getArgumentCopy(unsigned char* data, unsigned int length);

private:
    void tellNas();

    std::shared_ptr<SessionDirectory> portal_;
    // The loop may run already, and call before the constructor has returned.
    std::atomic<librad_radius_das*> das_{nullptr};
};

}  // namespace vesta
