// Attributes with an inside of their own: integers, hidden passwords, the maker's vendor space,
// Class.

#include <algorithm>

#include "message.h"

namespace {

using namespace ostrel::radius;

constexpr std::size_t kMaxPassword = 128;  // RFC 2865 section 5.2
constexpr std::size_t kVendorHeader = 4;

bool isOstrelVendor(Bytes value) {
    std::uint32_t vendor = 0;
    for (std::size_t i = 0; i < kVendorHeader && i < value.size; ++i) {
        vendor = vendor << 8 | value.data[i];
    }
    return value.size >= kVendorHeader && vendor == librad_ostrel_vendor;
}

// The attribute `number` in the value of a Vendor-Specific attribute. The inside of that has not
// been checked yet.
Bytes findInVendorSpace(Bytes value, std::uint8_t number) {
    std::size_t position = kVendorHeader;
    while (value.size - position >= kAttributeHeaderLength) {
        const std::size_t size = value.data[position + 1];
        if (size < kAttributeHeaderLength || size > value.size - position) {
            return {};
        }
        if (value.data[position] == number) {
            return {value.data + position + kAttributeHeaderLength, size - kAttributeHeaderLength};
        }
        position += size;
    }
    return {};
}

}  // namespace

bool librad_radius_msg_add_attr_int32(librad_radius_msg* msg, std::uint8_t type,
                                      std::uint32_t value) {
    const std::uint8_t bytes[4] = {
        static_cast<std::uint8_t>(value >> 24), static_cast<std::uint8_t>(value >> 16),
        static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
    return librad_radius_msg_add_attr(msg, type, bytes, sizeof bytes);
}

bool librad_radius_msg_add_ostrel_attr(librad_radius_msg* msg, std::uint8_t number,
                                       const void* data, std::size_t length) {
    if (length == 0 ||
        length > librad_max_attribute_length - kVendorHeader - kAttributeHeaderLength) {
        return false;
    }
    const auto* value = static_cast<const std::uint8_t*>(data);
    std::vector<std::uint8_t> bytes = {0,
                                       static_cast<std::uint8_t>(librad_ostrel_vendor >> 16),
                                       static_cast<std::uint8_t>(librad_ostrel_vendor >> 8 & 0xff),
                                       static_cast<std::uint8_t>(librad_ostrel_vendor & 0xff),
                                       number,
                                       static_cast<std::uint8_t>(length + kAttributeHeaderLength)};
    bytes.insert(bytes.end(), value, value + length);
    return librad_radius_msg_add_attr(msg, LIBRAD_RADIUS_ATTR_VENDOR_SPECIFIC, bytes.data(),
                                      bytes.size());
}

bool librad_radius_msg_add_attr_user_password(librad_radius_msg* msg, const unsigned char* password,
                                              std::size_t length, const unsigned char* secret,
                                              std::size_t secretLength) {
    if (length > kMaxPassword || secretLength == 0) {
        return false;
    }
    std::array<std::uint8_t, kMaxPassword> hidden{};
    std::copy_n(password, length, hidden.begin());
    const std::size_t padded = std::max<std::size_t>((length + 15) / 16 * 16, 16);
    Bytes previous{librad_radius_msg_get_authenticator(msg), librad_authenticator_length};
    bool good = true;
    for (std::size_t block = 0; block < padded && good; block += 16) {
        Digest mask{};
        good = md5({{secret, secretLength}, previous}, mask);
        for (std::size_t i = 0; i < mask.size(); ++i) {
            hidden[block + i] = static_cast<std::uint8_t>(hidden[block + i] ^ mask[i]);
        }
        previous = {hidden.data() + block, mask.size()};
        wipe(mask.data(), mask.size());
    }
    good = good &&
           librad_radius_msg_add_attr(msg, LIBRAD_RADIUS_ATTR_USER_PASSWORD, hidden.data(), padded);
    wipe(hidden.data(), hidden.size());
    return good;
}

const unsigned char* librad_radius_msg_get_ostrel_attr(const librad_radius_msg* msg,
                                                       std::uint8_t number, unsigned int* length) {
    AttributeReader reader(*msg);
    while (const std::optional<Attribute> attribute = reader.next()) {
        const Bytes value = valueOf(*msg, *attribute);
        if (attribute->type == LIBRAD_RADIUS_ATTR_VENDOR_SPECIFIC && isOstrelVendor(value)) {
            const Bytes found = findInVendorSpace(value, number);
            if (found.data != nullptr) {
                *length = static_cast<unsigned int>(found.size);
                return found.data;
            }
        }
    }
    *length = 0;
    return nullptr;
}

std::vector<std::string> librad_radius_msg_get_classes(const librad_radius_msg* msg) {
    std::vector<std::string> classes;
    AttributeReader reader(*msg);
    while (const std::optional<Attribute> attribute = reader.next()) {
        if (attribute->type == LIBRAD_RADIUS_ATTR_CLASS) {
            const Bytes value = valueOf(*msg, *attribute);
            classes.emplace_back(value.data, value.data + value.size);
        }
    }
    return classes;
}
