#include "portald/places.h"

#include "ostrel/addresses.h"

namespace portald {
namespace {

struct Url {
    bool usable = false;  // http or https, with a host
    std::string host;
    std::string port;
    std::string path;  // from its "/" on
};

Url parseUrl(const std::string& text) {
    Url url;
    const std::size_t scheme = text.find("://");
    if (scheme != 4 && scheme != 5) {
        return url;
    }
    const std::size_t begin = scheme + 3;
    const std::size_t end = std::min(text.find_first_of("/?#", begin), text.size());
    std::string authority = text.substr(begin, end - begin);
    authority.erase(0, authority.rfind('@') + 1);
    const std::size_t colon = authority.rfind(':');
    if (colon != std::string::npos && authority.find(']', colon) == std::string::npos) {
        url.port = authority.substr(colon + 1);
        authority.resize(colon);
    }
    url.host = authority;
    url.path = end < text.size() && text[end] == '/' ? text.substr(end) : "/" + text.substr(end);
    url.usable = (text.compare(0, 4, "http") == 0) && !url.host.empty();
    return url;
}

// IPv6 addresses stand in brackets.
std::string inUrl(const std::string& address) {
    return address.find(':') == std::string::npos ? address : "[" + address + "]";
}

std::string ownAddress(const Asked& asked, const Station& station) {
    const auto told = ostrel::parseIpv4(station.accessPointIp);
    return told && told->s_addr != 0 ? station.accessPointIp : asked.local;
}

// Over TLS where the certificate's name is known; a browser would refuse it for an address.
std::string base(const Asked& asked, const Station& station, const Settings& settings) {
    return settings.tlsPort != 0 && !settings.name.empty()
               ? "https://" + settings.name + ":" + std::to_string(settings.tlsPort)
               : "http://" + inUrl(ownAddress(asked, station)) + ":" +
                     std::to_string(settings.port);
}

bool isOwnHost(const std::string& host, const Asked& asked, const Station& station,
               const Settings& settings) {
    return host == asked.local || host == station.accessPointIp ||
           (!settings.name.empty() && host == settings.name);
}

bool isOwn(const Url& url, const Asked& asked, const Station& station, const Settings& settings) {
    return !url.usable || (isOwnHost(url.host, asked, station, settings) &&
                           (url.port.empty() || url.port == std::to_string(settings.port) ||
                            url.port == std::to_string(settings.tlsPort)));
}

}  // namespace

bool isForPortal(const Asked& asked, const Station& station, const Settings& settings) {
    return asked.secure || isOwnHost(asked.host, asked, station, settings);
}

bool hasPagesHere(const Asked& asked, const Station& station, const Settings& settings) {
    return isOwn(parseUrl(station.redirectUrl), asked, station, settings);
}

std::string redirectLocation(const Asked& asked, const Station& station, const Settings& settings) {
    const Url url = parseUrl(station.redirectUrl);
    if (!isOwn(url, asked, station, settings)) {
        return station.redirectUrl;
    }
    return base(asked, station, settings) + (url.usable ? url.path : "/");
}

std::string portalUrl(const Asked& asked, const Station& station, const Settings& settings) {
    if (!station.admitted && !hasPagesHere(asked, station, settings)) {
        return station.redirectUrl;
    }
    return base(asked, station, settings) + "/";
}

std::string apiUrl(const Settings& settings) {
    return "https://" + settings.name + ":" + std::to_string(settings.tlsPort) +
           "/captive-portal/api";
}

}  // namespace portald
