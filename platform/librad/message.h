#pragma once

// The message as it stands on the wire, and the walk over its attributes. A message is always well
// formed: a datagram is checked before it becomes one.
//
// Threads: a message belongs to one thread at a time.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "crypto.h"
#include "ostrel/librad.h"

struct librad_radius_msg {
    librad_radius_msg() = default;
    ~librad_radius_msg();
    librad_radius_msg(const librad_radius_msg&) = delete;
    librad_radius_msg& operator=(const librad_radius_msg&) = delete;

    std::vector<std::uint8_t> bytes;  // header and attributes, without padding
    std::vector<std::uint8_t> eap;    // what librad_radius_msg_get_eap() hands out

    // Of an answer that a client has checked: for which Request Authenticator, and whether its
    // Response Authenticator was right.
    std::optional<ostrel::radius::Digest> checkedFor;
    bool authentic = false;
};

namespace ostrel::radius {

inline constexpr std::size_t kHeaderLength = 20;
inline constexpr std::size_t kAuthenticatorOffset = 4;
inline constexpr std::size_t kAttributeHeaderLength = 2;

using MessagePtr = std::unique_ptr<librad_radius_msg>;

// Where an attribute's value stands in the packet.
struct Attribute {
    std::uint8_t type;
    std::size_t offset;
    std::size_t length;
};

// Walks over the attributes in order.
class AttributeReader {
public:
    explicit AttributeReader(const librad_radius_msg& msg) : bytes_(msg.bytes) {}
    [[nodiscard]] std::optional<Attribute> next();

private:
    const std::vector<std::uint8_t>& bytes_;
    std::size_t position_ = kHeaderLength;
};

// The first attribute of that type.
[[nodiscard]] std::optional<Attribute> findAttribute(const librad_radius_msg& msg,
                                                     std::uint8_t type);
[[nodiscard]] std::size_t countAttributes(const librad_radius_msg& msg, std::uint8_t type);
[[nodiscard]] Bytes valueOf(const librad_radius_msg& msg, const Attribute& attribute);
// The first value of that type as text, "" when there is none.
[[nodiscard]] std::string textOf(const librad_radius_msg& msg, std::uint8_t type);
// The first value of that type as an integer of four bytes.
[[nodiscard]] std::optional<std::uint32_t> integerOf(const librad_radius_msg& msg,
                                                     std::uint8_t type);
// Overwrites the first integer of that type, if there is one.
void replaceInteger(librad_radius_msg& msg, std::uint8_t type, std::uint32_t value);

// Appends all attributes of that type of another message. False as for an attribute.
[[nodiscard]] bool copyAttributes(librad_radius_msg& to, const librad_radius_msg& from,
                                  std::uint8_t type);

void setIdentifier(librad_radius_msg& msg, std::uint8_t id);

}  // namespace ostrel::radius
