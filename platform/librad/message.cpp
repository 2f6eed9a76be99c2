#include "message.h"

#include <algorithm>
#include <new>

namespace {

using namespace ostrel::radius;

constexpr std::size_t kLengthOffset = 2;

void writeLength(librad_radius_msg& msg) {
    msg.bytes[kLengthOffset] = static_cast<std::uint8_t>(msg.bytes.size() >> 8);
    msg.bytes[kLengthOffset + 1] = static_cast<std::uint8_t>(msg.bytes.size() & 0xff);
}

// Whether the attributes fill the packet to its last byte, each with a value.
bool attributesFit(const std::uint8_t* data, std::size_t length) {
    std::size_t position = kHeaderLength;
    while (position < length) {
        if (length - position <= kAttributeHeaderLength) {
            return false;
        }
        const std::size_t size = data[position + 1];
        if (size <= kAttributeHeaderLength || size > length - position) {
            return false;
        }
        position += size;
    }
    return true;
}

}  // namespace

librad_radius_msg::~librad_radius_msg() {
    wipe(bytes.data(), bytes.size());
    wipe(eap.data(), eap.size());
}

librad_radius_msg* librad_radius_msg_new(std::uint8_t code, std::uint8_t id) {
    MessagePtr msg(new (std::nothrow) librad_radius_msg);
    if (msg == nullptr) {
        return nullptr;
    }
    msg->bytes.reserve(256);
    msg->bytes.assign(kHeaderLength, 0);
    msg->bytes[0] = code;
    msg->bytes[1] = id;
    writeLength(*msg);
    if (code == LIBRAD_RADIUS_CODE_ACCESS_REQUEST) {
        const Digest placeholder{};
        // It is the first attribute, so whoever provides the others can't choose the packet's
        // prefix, which collision attacks against MD5 need.
        if (!librad_radius_msg_add_attr(msg.get(), LIBRAD_RADIUS_ATTR_MESSAGE_AUTHENTICATOR,
                                        placeholder.data(), placeholder.size())) {
            return nullptr;
        }
    }
    return msg.release();
}

librad_radius_msg* librad_radius_msg_parse(const unsigned char* data, std::size_t length) {
    if (length < kHeaderLength) {
        return nullptr;
    }
    const std::size_t claimed =
        static_cast<std::size_t>(data[kLengthOffset] << 8 | data[kLengthOffset + 1]);
    if (claimed < kHeaderLength || claimed > librad_max_message_length || claimed > length ||
        !attributesFit(data, claimed)) {
        return nullptr;
    }
    MessagePtr msg(new (std::nothrow) librad_radius_msg);
    if (msg != nullptr) {
        msg->bytes.assign(data, data + claimed);
    }
    return msg.release();
}

void librad_radius_msg_free(librad_radius_msg* msg) {
    delete msg;
}

std::uint8_t librad_radius_msg_get_code(const librad_radius_msg* msg) {
    return msg->bytes[0];
}

std::uint8_t librad_radius_msg_get_id(const librad_radius_msg* msg) {
    return msg->bytes[1];
}

const unsigned char* librad_radius_msg_get_authenticator(const librad_radius_msg* msg) {
    return msg->bytes.data() + kAuthenticatorOffset;
}

const unsigned char* librad_radius_msg_get_bytes(const librad_radius_msg* msg,
                                                 std::size_t* length) {
    *length = msg->bytes.size();
    return msg->bytes.data();
}

bool librad_radius_msg_add_attr(librad_radius_msg* msg, std::uint8_t type, const void* data,
                                std::size_t length) {
    if (length == 0 || length > librad_max_attribute_length ||
        msg->bytes.size() + kAttributeHeaderLength + length > librad_max_message_length) {
        return false;
    }
    const auto* value = static_cast<const std::uint8_t*>(data);
    msg->bytes.push_back(type);
    msg->bytes.push_back(static_cast<std::uint8_t>(length + kAttributeHeaderLength));
    msg->bytes.insert(msg->bytes.end(), value, value + length);
    writeLength(*msg);
    return true;
}

std::size_t librad_radius_msg_get_attr(const librad_radius_msg* msg, std::uint8_t type,
                                       void* buffer, std::size_t size) {
    const std::optional<Attribute> attribute = findAttribute(*msg, type);
    if (!attribute) {
        return 0;
    }
    const Bytes value = valueOf(*msg, *attribute);
    const std::size_t copied = std::min(value.size, size);
    std::copy_n(value.data, copied, static_cast<std::uint8_t*>(buffer));
    return copied;
}

namespace ostrel::radius {

std::optional<Attribute> AttributeReader::next() {
    if (position_ >= bytes_.size()) {
        return std::nullopt;
    }
    const std::size_t size = bytes_[position_ + 1];
    const Attribute attribute{bytes_[position_], position_ + kAttributeHeaderLength,
                              size - kAttributeHeaderLength};
    position_ += size;
    return attribute;
}

std::optional<Attribute> findAttribute(const librad_radius_msg& msg, std::uint8_t type) {
    AttributeReader reader(msg);
    std::optional<Attribute> attribute = reader.next();
    while (attribute && attribute->type != type) {
        attribute = reader.next();
    }
    return attribute;
}

std::size_t countAttributes(const librad_radius_msg& msg, std::uint8_t type) {
    std::size_t count = 0;
    AttributeReader reader(msg);
    while (const std::optional<Attribute> attribute = reader.next()) {
        count += attribute->type == type ? 1U : 0U;
    }
    return count;
}

Bytes valueOf(const librad_radius_msg& msg, const Attribute& attribute) {
    return {msg.bytes.data() + attribute.offset, attribute.length};
}

std::string textOf(const librad_radius_msg& msg, std::uint8_t type) {
    const std::optional<Attribute> attribute = findAttribute(msg, type);
    if (!attribute) {
        return "";
    }
    const Bytes value = valueOf(msg, *attribute);
    return {value.data, value.data + value.size};
}

std::optional<std::uint32_t> integerOf(const librad_radius_msg& msg, std::uint8_t type) {
    const std::optional<Attribute> attribute = findAttribute(msg, type);
    if (!attribute || attribute->length != 4) {
        return std::nullopt;
    }
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        value = value << 8 | msg.bytes[attribute->offset + i];
    }
    return value;
}

void replaceInteger(librad_radius_msg& msg, std::uint8_t type, std::uint32_t value) {
    const std::optional<Attribute> attribute = findAttribute(msg, type);
    if (attribute && attribute->length == 4) {
        for (std::size_t i = 0; i < 4; ++i) {
            msg.bytes[attribute->offset + i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
        }
    }
}

bool copyAttributes(librad_radius_msg& to, const librad_radius_msg& from, std::uint8_t type) {
    AttributeReader reader(from);
    while (const std::optional<Attribute> attribute = reader.next()) {
        const Bytes value = valueOf(from, *attribute);
        if (attribute->type == type &&
            !librad_radius_msg_add_attr(&to, type, value.data, value.size)) {
            return false;
        }
    }
    return true;
}

void setIdentifier(librad_radius_msg& msg, std::uint8_t id) {
    msg.bytes[1] = id;
}

}  // namespace ostrel::radius
