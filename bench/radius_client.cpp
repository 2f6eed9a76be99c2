#include "radius_client.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include "stations.h"
#include "support/factory_file.h"

namespace vesta::bench {

std::string radiusNameOf(std::size_t station) {
    std::string name = macOf(station);
    std::replace(name.begin(), name.end(), ':', '-');
    return name;
}

RadiusClient::RadiusClient(const std::string& directory, std::uint16_t port,
                           const std::string& secret)
    : file_(directory + "/requests"),
      rest_(" 127.0.0.1:" + std::to_string(port) + " auth " + secret + " >/dev/null") {}

double RadiusClient::run(std::size_t times, std::size_t stations) const {
    const double start = timeOf(1, 1);
    return timeOf(times, stations) - start;
}

double RadiusClient::timeOf(std::size_t times, std::size_t stations) const {
    std::ofstream file(file_);
    for (std::size_t i = 0; i < stations; ++i) {
        file << "Message-Authenticator = 0x00\nUser-Name = \"" << radiusNameOf(i)
             << "\"\nUser-Password = \"" << kRadiusPassword
             << "\"\nNAS-IP-Address = 127.0.0.1\nNAS-Identifier = \"" << testing::kDeviceMac
             << "\"\nFramed-IP-Address = " << ipOf(i) << "\nFramed-MTU = 1500\n\n";
    }
    file.close();
    const std::string command = "radclient -q -p " + std::to_string(stations) + " -c " +
                                std::to_string(times) + " -f " + file_ + rest_;
    const auto start = std::chrono::steady_clock::now();
    if (std::system(command.c_str()) != 0) {
        throw std::runtime_error("radclient failed");
    }
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace vesta::bench
