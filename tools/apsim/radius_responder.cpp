#include "apsim/radius_responder.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <random>
#include <utility>

#include "apsim/input.h"
#include "ostrel/addresses.h"

namespace apsim {

namespace {

// The password that every station gives in MAC authentication: its name decides.
constexpr const char* kStationPassword = "PLACEHOLDR";
constexpr std::uint8_t kKnownStationAttribute = 31;
constexpr std::uint8_t kRedirectUrlAttribute = 33;

// RFC 3748 sections 4 and 5.
enum EapCode : char { kEapRequest = 1, kEapResponse = 2, kEapSuccess = 3, kEapFailure = 4 };
enum EapType : char { kEapIdentity = 1, kEapMd5 = 4 };
constexpr std::size_t kEapDataOffset = 5;
constexpr std::size_t kDigestLength = 16;
constexpr std::size_t kMostChallenges = 1024;

std::string eapPacket(EapCode code, std::uint8_t id, const std::string& data) {
    const std::size_t length = 4 + data.size();
    return std::string{code, static_cast<char>(id), static_cast<char>(length >> 8),
                       static_cast<char>(length & 0xff)} +
           data;
}

std::string randomText(std::size_t size) {
    std::random_device source;
    std::string text;
    while (text.size() < size) {
        text += static_cast<char>(source() & 0xffU);
    }
    return text;
}

// "02:00:00:00:00:01" of the same with colons or, as RADIUS names stations (RFC 3580,
// section 3.21), with hyphens; empty when it is no such text.
std::string macOfName(std::string name) {
    std::replace(name.begin(), name.end(), '-', ':');
    const auto mac = ostrel::parseColonMac(name);
    return mac ? ostrel::macText(*mac) : "";
}

RadiusMessage newAnswer(std::uint8_t code, const librad_radius_msg& request) {
    RadiusMessage answer(librad_radius_msg_new(code, librad_radius_msg_get_id(&request)));
    if (answer) {
        addMessageAuthenticator(*answer);
    }
    return answer;
}

std::string whoAsks(const librad_radius_msg& request) {
    const std::uint32_t address = radiusNumber(request, LIBRAD_RADIUS_ATTR_FRAMED_IP_ADDRESS);
    return radiusText(request, LIBRAD_RADIUS_ATTR_USER_NAME) +
           (address == 0 ? "" : " at " + ostrel::ipv4Text({htonl(address)}));
}

// The station of an Accounting-Request.
StationId stationOf(const librad_radius_msg& request) {
    return {radiusText(request, LIBRAD_RADIUS_ATTR_NAS_PORT_ID),
            macOfName(radiusText(request, LIBRAD_RADIUS_ATTR_CALLING_STATION_ID))};
}

const char* statusName(std::uint32_t status) {
    switch (status) {  // RFC 2866 section 5.1
        case 1:
            return "start";
        case 2:
            return "stop";
        case 3:
            return "interim";
        case 7:
            return "accounting on";
        case 8:
            return "accounting off";
        default:
            return "other";
    }
}

std::string figuresOf(const librad_radius_msg& request) {
    const auto number = [&](std::uint8_t type) {
        return static_cast<std::uint64_t>(radiusNumber(request, type));
    };
    const auto bytes = [&](std::uint8_t octets, std::uint8_t gigawords) {
        return std::to_string(number(gigawords) << 32 | number(octets));
    };
    return ", " + std::to_string(number(LIBRAD_RADIUS_ATTR_ACCT_SESSION_TIME)) + " s, " +
           bytes(LIBRAD_RADIUS_ATTR_ACCT_INPUT_OCTETS, LIBRAD_RADIUS_ATTR_ACCT_INPUT_GIGAWORDS) +
           " bytes sent, " +
           bytes(LIBRAD_RADIUS_ATTR_ACCT_OUTPUT_OCTETS, LIBRAD_RADIUS_ATTR_ACCT_OUTPUT_GIGAWORDS) +
           " received";
}

std::string sessionDetail(const librad_radius_msg& request, const std::string& status) {
    const std::string user = radiusText(request, LIBRAD_RADIUS_ATTR_USER_NAME);
    if (user.empty()) {
        return "";
    }
    std::string detail =
        user + ", session " + radiusText(request, LIBRAD_RADIUS_ATTR_ACCT_SESSION_ID);
    if (status == "interim" || status == "stop") {
        detail += figuresOf(request);
    }
    if (status == "stop") {
        detail += ", cause " +
                  std::to_string(radiusNumber(request, LIBRAD_RADIUS_ATTR_ACCT_TERMINATE_CAUSE));
    }
    return detail;
}

}  // namespace

RadiusBook RadiusBook::parse(const nlohmann::json& object, const std::string& place) {
    try {
        RadiusBook book;
        object.at("secret").get_to(book.secret);
        object.value("users", nlohmann::json::object()).get_to(book.users);
        const nlohmann::json stations = object.value("stations", nlohmann::json::object());
        for (const auto& [name, station] : stations.items()) {
            const std::string mac = macOfName(name);
            if (mac.empty()) {
                throw InputError(place + ": \"" + name + "\" is no MAC address");
            }
            book.stations[mac] = {station.at("known").get<bool>(),
                                  station.value("redirect-url", "")};
        }
        return book;
    } catch (const nlohmann::json::exception& error) {
        throw InputError(place + ": " + error.what());
    }
}

RadiusResponder::RadiusResponder(RadiusBook book, EventLog& log)
    : book_(std::move(book)), log_(log) {}

std::string RadiusResponder::answerAccess(std::string_view datagram) {
    const RadiusMessage request = parseRadius(datagram);
    if (!request ||
        librad_radius_msg_get_code(request.get()) != LIBRAD_RADIUS_CODE_ACCESS_REQUEST) {
        return drop("no Access-Request");
    }
    if (!hasMessageAuthenticator(*request, book_.secret)) {
        return drop("an Access-Request that is not signed with the secret");
    }
    unsigned int length = 0;
    const unsigned char* const eap = librad_radius_msg_get_eap(request.get(), &length);
    return eap == nullptr ? answerPassword(*request)
                          : answerEap(*request, {reinterpret_cast<const char*>(eap), length});
}

std::string RadiusResponder::answerEap(const librad_radius_msg& request, std::string_view packet) {
    if (packet.size() < kEapDataOffset || packet[0] != kEapResponse) {
        return drop("an EAP-Message that holds no response");
    }
    const auto id = static_cast<std::uint8_t>(packet[1]);
    if (packet[4] == kEapIdentity) {
        return challengeUser(request, static_cast<std::uint8_t>(id + 1));
    }
    const bool right = answersChallenge(request, packet);
    return decide(request, right, eapPacket(right ? kEapSuccess : kEapFailure, id, ""));
}

std::string RadiusResponder::challengeUser(const librad_radius_msg& request, std::uint8_t eapId) {
    const Challenge challenge{radiusText(request, LIBRAD_RADIUS_ATTR_USER_NAME),
                              randomText(kDigestLength)};
    std::array<char, 9> state{};
    std::snprintf(state.data(), state.size(), "%08x", ++lastState_);
    if (challenges_.size() >= kMostChallenges) {
        challenges_.erase(challenges_.begin());
    }
    challenges_[state.data()] = challenge;
    const RadiusMessage answer = newAnswer(LIBRAD_RADIUS_CODE_ACCESS_CHALLENGE, request);
    if (!answer) {
        return "";
    }
    const std::string eap =
        eapPacket(kEapRequest, eapId,
                  std::string{kEapMd5, static_cast<char>(kDigestLength)} + challenge.value);
    addRadiusText(*answer, LIBRAD_RADIUS_ATTR_EAP_MESSAGE, eap);
    addRadiusText(*answer, LIBRAD_RADIUS_ATTR_STATE, state.data());
    log_.add({Party::radius, "challenge", {}, whoAsks(request)});
    return signedAnswer(*answer, request, book_.secret);
}

bool RadiusResponder::answersChallenge(const librad_radius_msg& request,
                                       std::string_view packet) const {
    const auto challenge = challenges_.find(radiusText(request, LIBRAD_RADIUS_ATTR_STATE));
    const auto user = book_.users.find(radiusText(request, LIBRAD_RADIUS_ATTR_USER_NAME));
    if (challenge == challenges_.end() || user == book_.users.end() ||
        challenge->second.user != user->first || packet[4] != kEapMd5 ||
        packet.size() < kEapDataOffset + 1 + kDigestLength) {
        return false;
    }
    const auto bytes = [](const std::string& text) {
        return reinterpret_cast<const unsigned char*>(text.data());
    };
    std::array<unsigned char, kDigestLength> digest{};
    const std::string& value = challenge->second.value;
    return librad_chap_md5(static_cast<std::uint8_t>(packet[1]), bytes(user->second),
                           user->second.size(), bytes(value), value.size(), digest.data()) &&
           packet.substr(kEapDataOffset + 1, kDigestLength) ==
               std::string_view(reinterpret_cast<const char*>(digest.data()), digest.size());
}

std::string RadiusResponder::answerPassword(const librad_radius_msg& request) {
    const std::string name = radiusText(request, LIBRAD_RADIUS_ATTR_USER_NAME);
    const std::string mac = macOfName(name);
    const auto station = book_.stations.find(mac);
    if (station != book_.stations.end() &&
        hasUserPassword(request, kStationPassword, book_.secret)) {
        return answerStation(request, mac, station->second);
    }
    const auto user = book_.users.find(name);
    return decide(request,
                  user != book_.users.end() && hasUserPassword(request, user->second, book_.secret),
                  "");
}

std::string RadiusResponder::decide(const librad_radius_msg& request, bool accepted,
                                    std::string_view eap) {
    const RadiusMessage answer = newAnswer(
        accepted ? LIBRAD_RADIUS_CODE_ACCESS_ACCEPT : LIBRAD_RADIUS_CODE_ACCESS_REJECT, request);
    if (!answer) {
        return "";
    }
    addRadiusText(*answer, LIBRAD_RADIUS_ATTR_EAP_MESSAGE, eap);
    log_.add({Party::radius, accepted ? "accept" : "reject", {}, whoAsks(request)});
    return signedAnswer(*answer, request, book_.secret);
}

std::string RadiusResponder::answerStation(const librad_radius_msg& request, const std::string& mac,
                                           const RadiusBook::Station& station) {
    const RadiusMessage answer = newAnswer(LIBRAD_RADIUS_CODE_ACCESS_ACCEPT, request);
    const std::string known{'\0', '\0', '\0', station.known ? '\1' : '\0'};
    const std::string& url = station.redirectUrl;
    if (!answer ||
        !librad_radius_msg_add_ostrel_attr(answer.get(), kKnownStationAttribute, known.data(),
                                           known.size()) ||
        (!url.empty() && !librad_radius_msg_add_ostrel_attr(answer.get(), kRedirectUrlAttribute,
                                                            url.data(), url.size()))) {
        return "";
    }
    log_.add({Party::radius,
              "accept",
              {"", mac},
              station.known ? "a known station" : "a new station, sent to " + url});
    return signedAnswer(*answer, request, book_.secret);
}

std::string RadiusResponder::answerAccounting(std::string_view datagram) {
    const RadiusMessage request = parseRadius(datagram);
    if (!request ||
        librad_radius_msg_get_code(request.get()) != LIBRAD_RADIUS_CODE_ACCOUNTING_REQUEST) {
        return drop("no Accounting-Request");
    }
    if (!isSignedRequest(*request, book_.secret)) {
        return drop("an Accounting-Request that is not signed with the secret");
    }
    const RadiusMessage answer(librad_radius_msg_new(LIBRAD_RADIUS_CODE_ACCOUNTING_RESPONSE,
                                                     librad_radius_msg_get_id(request.get())));
    if (!answer) {
        return "";
    }
    const std::string status =
        statusName(radiusNumber(*request, LIBRAD_RADIUS_ATTR_ACCT_STATUS_TYPE));
    log_.add({Party::radius, status, stationOf(*request), sessionDetail(*request, status)});
    return signedAnswer(*answer, *request, book_.secret);
}

std::string RadiusResponder::drop(const char* why) {
    log_.add({Party::radius, "dropped", {}, why});
    return "";
}

}  // namespace apsim
