#include "authenticators.h"

#include <algorithm>

namespace ostrel::radius {
namespace {

constexpr Digest kZeros{};
constexpr auto kDigestLength = static_cast<std::ptrdiff_t>(kZeros.size());

auto at(std::vector<std::uint8_t>& bytes, std::size_t offset) {
    return bytes.begin() + static_cast<std::ptrdiff_t>(offset);
}

// The Message-Authenticator of the message with `authenticator` in its header.
bool computeMessageAuthenticator(const librad_radius_msg& msg, const Attribute& place, Bytes secret,
                                 const std::uint8_t* authenticator, Digest& out) {
    std::vector<std::uint8_t> bytes = msg.bytes;
    std::copy_n(authenticator, kDigestLength, at(bytes, kAuthenticatorOffset));
    std::copy_n(kZeros.begin(), kDigestLength, at(bytes, place.offset));
    return hmacMd5(secret, {bytes.data(), bytes.size()}, out);
}

// MD5 over the message with `authenticator` in its header, and the secret.
bool computeAuthenticator(const librad_radius_msg& msg, Bytes secret,
                          const std::uint8_t* authenticator, Digest& out) {
    return md5({{msg.bytes.data(), kAuthenticatorOffset},
                {authenticator, kZeros.size()},
                {msg.bytes.data() + kHeaderLength, msg.bytes.size() - kHeaderLength},
                secret},
               out);
}

bool fillMessageAuthenticator(librad_radius_msg& msg, Bytes secret,
                              const std::uint8_t* authenticator) {
    const std::optional<Attribute> place =
        findAttribute(msg, LIBRAD_RADIUS_ATTR_MESSAGE_AUTHENTICATOR);
    Digest digest{};
    if (!place || place->length != digest.size() ||
        !computeMessageAuthenticator(msg, *place, secret, authenticator, digest)) {
        return false;
    }
    std::copy(digest.begin(), digest.end(), at(msg.bytes, place->offset));
    return true;
}

}  // namespace

bool signAccessRequest(librad_radius_msg& msg, Bytes secret) {
    return fillMessageAuthenticator(msg, secret, librad_radius_msg_get_authenticator(&msg));
}

bool signRequest(librad_radius_msg& msg, Bytes secret) {
    Digest digest{};
    if (!computeAuthenticator(msg, secret, kZeros.data(), digest)) {
        return false;
    }
    std::copy(digest.begin(), digest.end(), at(msg.bytes, kAuthenticatorOffset));
    return true;
}

bool verifyRequest(const librad_radius_msg& msg, Bytes secret) {
    return verifyAnswer(msg, secret, kZeros.data()) &&
           checkMessageAuthenticator(msg, secret, kZeros.data()) != MessageAuthenticator::invalid;
}

bool verifyAnswer(const librad_radius_msg& msg, Bytes secret,
                  const std::uint8_t* requestAuthenticator) {
    Digest digest{};
    return computeAuthenticator(msg, secret, requestAuthenticator, digest) &&
           equalDigests(digest.data(), librad_radius_msg_get_authenticator(&msg));
}

MessageAuthenticator checkMessageAuthenticator(const librad_radius_msg& msg, Bytes secret,
                                               const std::uint8_t* authenticator) {
    const std::optional<Attribute> place =
        findAttribute(msg, LIBRAD_RADIUS_ATTR_MESSAGE_AUTHENTICATOR);
    if (!place) {
        return MessageAuthenticator::absent;
    }
    Digest digest{};
    const bool valid = place->length == digest.size() &&
                       countAttributes(msg, LIBRAD_RADIUS_ATTR_MESSAGE_AUTHENTICATOR) == 1 &&
                       computeMessageAuthenticator(msg, *place, secret, authenticator, digest) &&
                       equalDigests(digest.data(), valueOf(msg, *place).data);
    return valid ? MessageAuthenticator::valid : MessageAuthenticator::invalid;
}

}  // namespace ostrel::radius

using namespace ostrel::radius;

bool librad_radius_msg_make_authenticator(librad_radius_msg* msg, const unsigned char* data,
                                          std::size_t length) {
    Digest random{};
    if (!randomBytes(random.data(), random.size())) {
        return false;
    }
    for (std::size_t i = 0; data != nullptr && i < length; ++i) {
        random[i % random.size()] = static_cast<std::uint8_t>(random[i % random.size()] ^ data[i]);
    }
    std::copy(random.begin(), random.end(), at(msg->bytes, kAuthenticatorOffset));
    return true;
}

int librad_radius_msg_verify_acct(const librad_radius_msg* msg, const unsigned char* secret,
                                  std::size_t secretLength, const librad_radius_msg* request) {
    const std::uint8_t* asked = librad_radius_msg_get_authenticator(request);
    const bool known = msg->checkedFor && std::equal(asked, asked + librad_authenticator_length,
                                                     msg->checkedFor->begin());
    return (known ? msg->authentic : verifyAnswer(*msg, {secret, secretLength}, asked)) ? 0 : 1;
}

bool librad_radius_msg_sign_answer(librad_radius_msg* msg, const unsigned char* secret,
                                   std::size_t secretLength, const librad_radius_msg* request) {
    const std::uint8_t* requestAuthenticator = librad_radius_msg_get_authenticator(request);
    Digest digest{};
    if (findAttribute(*msg, LIBRAD_RADIUS_ATTR_MESSAGE_AUTHENTICATOR) &&
        !fillMessageAuthenticator(*msg, {secret, secretLength}, requestAuthenticator)) {
        return false;
    }
    if (!computeAuthenticator(*msg, {secret, secretLength}, requestAuthenticator, digest)) {
        return false;
    }
    std::copy(digest.begin(), digest.end(), at(msg->bytes, kAuthenticatorOffset));
    return true;
}
