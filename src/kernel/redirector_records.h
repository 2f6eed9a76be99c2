#pragma once

// The records that pass between the daemon and the redirector module. Integers stand in host order,
// addresses in network order; bytes that no field covers are zero.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "station/mac_addr.h"

namespace vesta {

// Numbers of the requests on the module's control file.
enum class RedirectorRequest : unsigned long {
    REDIRECTOR_GET_PROXY_IPV4 = 6,
    REDIRECTOR_SET_UNAUTHED = 8,
    REDIRECTOR_SET_AUTHED = 9,
    REDIRECTOR_SET_DROP = 10,
    REDIRECTOR_WIPE_CLIENT = 11,
    REDIRECTOR_SET_NOTIFY_PID = 13,
    REDIRECTOR_SET_CLIENT_WHITE_LIST = 19,
    REDIRECTOR_ADD_WHITE_IPS = 20,
    REDIRECTOR_ADD_WHITE_DOMAINS = 21,
    REDIRECTOR_ADD_WHITE_REGEXPS = 22,
    REDIRECTOR_WIPE_WHITE_LISTS = 23,
    REDIRECTOR_WIPE_ALL_CLIENTS = 24,
    REDIRECTOR_GET_OUTPUT_GW = 25,
};

// Which station: 6 bytes MAC, 16 bytes interface name, 20 bytes reserved, 4 bytes IPv4 address.
using RedirectorClientRecord = std::array<unsigned char, 46>;

// The interface name is cut to `longestName` bytes.
RedirectorClientRecord makeClientRecord(const MacAddr& mac, const std::string& interfaceName,
                                        const std::string& ip, std::size_t longestName);

// What tells stations apart: MAC and interface name, the first 22 bytes of a client record.
using RedirectorStationKey = std::array<unsigned char, 22>;

RedirectorStationKey stationOf(const RedirectorClientRecord& client);

// Which list a station has: MAC and interface name of its client record, then the list's id.
using RedirectorClientWhiteListRecord = std::array<unsigned char, 26>;

RedirectorClientWhiteListRecord makeClientWhiteListRecord(const RedirectorClientRecord& client,
                                                          std::uint32_t listId);

// A part of a white list. The first part has the list's id, the others have the id 0.
using RedirectorChunkBytes = std::array<unsigned char, 1032>;

// Addresses: list id, number of entries, then at most 128 entries of address and mask.
class AddressChunk {
public:
    explicit AddressChunk(std::uint32_t listId);

    [[nodiscard]] bool empty() const { return count_ == 0; }
    [[nodiscard]] bool full() const { return count_ == kMostEntries; }
    // Expects that the chunk is not full.
    void add(std::uint32_t address, std::uint32_t mask);
    // Zeroes all of it, the list id included.
    void clear();
    [[nodiscard]] RedirectorChunkBytes& bytes() { return bytes_; }

private:
    static constexpr std::uint32_t kMostEntries = 128;

    RedirectorChunkBytes bytes_{};
    std::uint32_t count_ = 0;
};

// Domains or patterns: list id, then zero-terminated texts one after another.
class StringChunk {
public:
    explicit StringChunk(std::uint32_t listId);

    // True when not even an empty chunk has room for the text.
    [[nodiscard]] static bool neverFits(const std::string& text);
    [[nodiscard]] bool empty() const { return position_ == kFirst; }
    [[nodiscard]] bool fits(const std::string& text) const;
    // Expects that the text fits.
    void add(const std::string& text);
    // Zeroes all of it, the list id included.
    void clear();
    [[nodiscard]] RedirectorChunkBytes& bytes() { return bytes_; }

private:
    static constexpr std::size_t kFirst = 4;

    RedirectorChunkBytes bytes_{};
    std::size_t position_ = kFirst;
};

// A station that the module has seen.
struct RedirectorNotification {
    MacAddr mac;
    std::string interfaceName;
    std::string ip;
    std::uint32_t value = 0;  // the station's MTU
};

// The 16 header bytes of a notification and the 30 of its payload.
inline constexpr std::size_t kNotificationSize = 16 + 30;

// Reads a notification of at least kNotificationSize bytes.
RedirectorNotification readNotification(const unsigned char* datagram);

// Asks for the gateway on the way to an IPv4 address: that address, reserved bytes, and four bytes
// that the module fills with the gateway.
using RedirectorGatewayRecord = std::array<unsigned char, 52>;

RedirectorGatewayRecord makeGatewayRecord(std::uint32_t address);
const unsigned char* gatewayOf(const RedirectorGatewayRecord& record);

}  // namespace vesta
