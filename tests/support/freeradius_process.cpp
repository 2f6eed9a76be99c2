#include "freeradius_process.h"

#include <stdexcept>

namespace vesta::testing {

bool FreeradiusProcess::installed() {
    return std::system("command -v freeradius radclient >/dev/null 2>&1") == 0;
}

FreeradiusProcess::FreeradiusProcess(const std::string& secret, const std::string& users)
    : authPort_(freePort(SOCK_DGRAM)), acctPort_(freePort(SOCK_DGRAM)) {
    writeConfiguration(secret, users);
    process_.start(
        {"sh", "-c", "umask 077; exec freeradius -f -l stdout -d \"$0\"", directory_.path()},
        ChildProcess::Output::heard);
    if (!process_.waitForText("Ready to process requests")) {
        throw std::runtime_error("freeradius does not start: " + process_.said());
    }
    process_.stopHearing();
}

void FreeradiusProcess::writeConfiguration(const std::string& secret,
                                           const std::string& users) const {
    std::string text = ostrel::testing::readFile(FREERADIUS_FILES "/radiusd.conf.in");
    for (const auto& [name, value] :
         {std::pair<std::string, std::string>{"@DIR@", directory_.path()},
          {"@SECRET@", secret},
          {"@AUTH@", std::to_string(authPort_)},
          {"@ACCT@", std::to_string(acctPort_)}}) {
        for (std::size_t at = 0; (at = text.find(name)) != std::string::npos;) {
            text.replace(at, name.size(), value);
        }
    }
    ostrel::testing::writeFile(directory_.path("radiusd.conf"), text);
    std::filesystem::copy(FREERADIUS_FILES "/dictionary", directory_.path());
    ostrel::testing::writeFile(directory_.path("users"), users);
}

std::string FreeradiusProcess::record(const std::string& kind) const {
    return ostrel::testing::readFile(directory_.path(kind));
}

}  // namespace vesta::testing
