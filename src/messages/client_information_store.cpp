#include "messages/client_information_store.h"

#include <tuple>

#include "core/data_parser.h"

namespace vesta {
namespace {

std::array<unsigned char, 6> parseMac(const std::string& text) {
    std::array<char, 6> bytes{};
    std::array<unsigned char, 6> mac{};
    if (DataParser::parseMacFromString(text, bytes.data())) {
        for (std::size_t i = 0; i < mac.size(); ++i) {
            mac[i] = static_cast<unsigned char>(bytes[i]);
        }
    }
    return mac;
}

}  // namespace

ClientInformationIdentity::ClientInformationIdentity(const std::string& macText,
                                                     const std::string& ssidText)
    : mac(parseMac(macText)), ssid(ssidText) {}

bool operator<(const ClientInformationIdentity& left, const ClientInformationIdentity& right) {
    return std::tie(left.mac, left.ssid) < std::tie(right.mac, right.ssid);
}

bool operator==(const ClientInformationIdentity& left, const ClientInformationIdentity& right) {
    return left.mac == right.mac && left.ssid == right.ssid;
}

}  // namespace vesta
