#include <algorithm>

#include "message.h"

using namespace ostrel::radius;

bool librad_radius_msg_add_eap(librad_radius_msg* msg, const unsigned char* data,
                               std::size_t length) {
    const std::size_t pieces =
        (length + librad_max_attribute_length - 1) / librad_max_attribute_length;
    // Checked as a whole, so that a packet is never appended by half.
    if (length == 0 ||
        msg->bytes.size() + length + pieces * kAttributeHeaderLength > librad_max_message_length) {
        return false;
    }
    bool good = true;
    for (std::size_t done = 0; done < length && good; done += librad_max_attribute_length) {
        good = librad_radius_msg_add_attr(msg, LIBRAD_RADIUS_ATTR_EAP_MESSAGE, data + done,
                                          std::min(length - done, librad_max_attribute_length));
    }
    return good;
}

const unsigned char* librad_radius_msg_get_eap(librad_radius_msg* msg, unsigned int* length) {
    msg->eap.clear();
    AttributeReader reader(*msg);
    while (const std::optional<Attribute> attribute = reader.next()) {
        if (attribute->type == LIBRAD_RADIUS_ATTR_EAP_MESSAGE) {
            const Bytes value = valueOf(*msg, *attribute);
            msg->eap.insert(msg->eap.end(), value.data, value.data + value.size);
        }
    }
    *length = static_cast<unsigned int>(msg->eap.size());
    return msg->eap.empty() ? nullptr : msg->eap.data();
}

bool librad_chap_md5(std::uint8_t id, const unsigned char* secret, std::size_t secretLength,
                     const unsigned char* challenge, std::size_t challengeLength,
                     unsigned char* out) {
    Digest digest{};
    const bool good = md5({{&id, 1}, {secret, secretLength}, {challenge, challengeLength}}, digest);
    if (!good) {
        digest.fill(0);
    }
    std::copy(digest.begin(), digest.end(), out);
    return good;
}
