#pragma once

// Debian's RADIUS server as a child process, with a configuration of its own on loopback: PAP and
// EAP-MD5, accounting into a file for each kind of record, and our vendor's dictionary.

#include <cstdint>
#include <string>

#include "platform/support.h"
#include "support/child_process.h"

namespace vesta::testing {

class FreeradiusProcess {
public:
    // Whether the server and its command-line client are installed.
    static bool installed();

    // Starts it with these users; returns when it takes requests. Throws std::runtime_error, with
    // what it said, when it does not.
    FreeradiusProcess(const std::string& secret, const std::string& users);

    [[nodiscard]] std::uint16_t authPort() const { return authPort_; }
    [[nodiscard]] std::uint16_t acctPort() const { return acctPort_; }
    // The accounting records of this kind ("Start", "Interim-Update" or "Stop") so far, as text.
    [[nodiscard]] std::string record(const std::string& kind) const;

private:
    void writeConfiguration(const std::string& secret, const std::string& users) const;

    ostrel::testing::TempDirectory directory_;
    std::uint16_t authPort_;
    std::uint16_t acctPort_;
    ChildProcess process_;
};

}  // namespace vesta::testing
