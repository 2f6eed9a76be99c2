#include "apsim/radius_message.h"

#include <array>

namespace apsim {

namespace {

constexpr std::size_t kHeaderLength = 20;
constexpr std::size_t kLengthOffset = 2;
constexpr std::string_view kNoDigest("\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0", 16);

const unsigned char* bytesOf(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

// A message without attributes whose authenticator is zeros.
RadiusMessage zeroMessage() {
    std::string header(kHeaderLength, '\0');
    header[0] = LIBRAD_RADIUS_CODE_ACCOUNTING_REQUEST;
    header[kLengthOffset + 1] = static_cast<char>(kHeaderLength);
    return parseRadius(header);
}

}  // namespace

RadiusMessage parseRadius(std::string_view datagram) {
    return RadiusMessage(librad_radius_msg_parse(bytesOf(datagram), datagram.size()));
}

std::string radiusBytes(const librad_radius_msg& message) {
    std::size_t length = 0;
    const unsigned char* const bytes = librad_radius_msg_get_bytes(&message, &length);
    return {reinterpret_cast<const char*>(bytes), length};
}

std::string radiusText(const librad_radius_msg& message, std::uint8_t type) {
    std::array<char, librad_max_attribute_length> buffer{};
    return {buffer.data(),
            librad_radius_msg_get_attr(&message, type, buffer.data(), buffer.size())};
}

std::uint32_t radiusNumber(const librad_radius_msg& message, std::uint8_t type) {
    const std::string value = radiusText(message, type);
    std::uint32_t number = 0;
    for (const char byte : value) {
        number = number << 8 | static_cast<unsigned char>(byte);
    }
    return value.size() == sizeof number ? number : 0;
}

void addRadiusText(librad_radius_msg& message, std::uint8_t type, std::string_view value) {
    static_cast<void>(librad_radius_msg_add_attr(&message, type, value.data(), value.size()));
}

void addMessageAuthenticator(librad_radius_msg& message) {
    addRadiusText(message, LIBRAD_RADIUS_ATTR_MESSAGE_AUTHENTICATOR, kNoDigest);
}

bool hasMessageAuthenticator(const librad_radius_msg& request, const std::string& secret) {
    const std::string given = radiusText(request, LIBRAD_RADIUS_ATTR_MESSAGE_AUTHENTICATOR);
    // Signing as an answer to itself puts the right one in its place.
    const RadiusMessage copy = parseRadius(radiusBytes(request));
    return !given.empty() && copy && !signedAnswer(*copy, request, secret).empty() &&
           given == radiusText(*copy, LIBRAD_RADIUS_ATTR_MESSAGE_AUTHENTICATOR);
}

bool hasUserPassword(const librad_radius_msg& request, const std::string& password,
                     const std::string& secret) {
    // What hides the password is the authenticator, which stands in the header.
    std::string header = radiusBytes(request).substr(0, kHeaderLength);
    header[kLengthOffset] = '\0';
    header[kLengthOffset + 1] = static_cast<char>(kHeaderLength);
    const RadiusMessage wanted = parseRadius(header);
    const std::string given = radiusText(request, LIBRAD_RADIUS_ATTR_USER_PASSWORD);
    return wanted &&
           librad_radius_msg_add_attr_user_password(
               wanted.get(), bytesOf(password), password.size(), bytesOf(secret), secret.size()) &&
           given == radiusText(*wanted, LIBRAD_RADIUS_ATTR_USER_PASSWORD);
}

bool isSignedRequest(const librad_radius_msg& request, const std::string& secret) {
    const RadiusMessage zero = zeroMessage();
    return zero &&
           librad_radius_msg_verify_acct(&request, bytesOf(secret), secret.size(), zero.get()) == 0;
}

bool signRadiusRequest(librad_radius_msg& request, const std::string& secret) {
    const RadiusMessage zero = zeroMessage();
    return zero &&
           librad_radius_msg_sign_answer(&request, bytesOf(secret), secret.size(), zero.get());
}

bool isAnswerTo(const librad_radius_msg& answer, const librad_radius_msg& request,
                const std::string& secret) {
    return librad_radius_msg_get_id(&answer) == librad_radius_msg_get_id(&request) &&
           librad_radius_msg_verify_acct(&answer, bytesOf(secret), secret.size(), &request) == 0;
}

std::string signedAnswer(librad_radius_msg& answer, const librad_radius_msg& request,
                         const std::string& secret) {
    const bool signedNow =
        librad_radius_msg_sign_answer(&answer, bytesOf(secret), secret.size(), &request);
    return signedNow ? radiusBytes(answer) : "";
}

}  // namespace apsim
