#include "kernel/redirector_records.h"

#include <algorithm>
#include <cassert>
#include <cstring>

#include "core/data_parser.h"

namespace vesta {
namespace {

constexpr std::size_t kMacSize = 6;
constexpr std::size_t kNameSize = 16;

namespace client {
constexpr std::size_t kName = 6;
constexpr std::size_t kNameEnd = kName + kNameSize;
constexpr std::size_t kIp = 42;
}  // namespace client

namespace notification {
constexpr std::size_t kMac = 16;
constexpr std::size_t kName = kMac + kMacSize;
constexpr std::size_t kIp = kName + kNameSize;
constexpr std::size_t kValue = kIp + 4;
static_assert(kValue + 4 == kNotificationSize);
}  // namespace notification

constexpr std::size_t kChunkCount = 4;
constexpr std::size_t kChunkEntrySize = 8;
// A text with its terminator ends before this byte, at the latest.
constexpr std::size_t kStringsEnd = 1031;
constexpr std::size_t kGateway = 48;

// Host order, at any alignment.
template <class Record>
void putWord(Record& record, std::size_t offset, std::uint32_t value) {
    assert(offset + sizeof value <= record.size());
    std::memcpy(record.data() + offset, &value, sizeof value);
}

}  // namespace

RedirectorClientRecord makeClientRecord(const MacAddr& mac, const std::string& interfaceName,
                                        const std::string& ip, std::size_t longestName) {
    RedirectorClientRecord record{};
    std::copy(mac.bytes().begin(), mac.bytes().end(), record.begin());
    const std::size_t length =
        std::min({interfaceName.size(), longestName, client::kIp - client::kName});
    std::memcpy(record.data() + client::kName, interfaceName.data(), length);
    putWord(record, client::kIp, DataParser::parseIpFromString(ip));
    return record;
}

RedirectorStationKey stationOf(const RedirectorClientRecord& client) {
    RedirectorStationKey key{};
    std::copy_n(client.begin(), key.size(), key.begin());
    return key;
}

RedirectorClientWhiteListRecord makeClientWhiteListRecord(const RedirectorClientRecord& client,
                                                          std::uint32_t listId) {
    RedirectorClientWhiteListRecord record{};
    std::memcpy(record.data(), client.data(), client::kNameEnd);
    putWord(record, client::kNameEnd, listId);
    return record;
}

AddressChunk::AddressChunk(std::uint32_t listId) {
    putWord(bytes_, 0, listId);
}

void AddressChunk::add(std::uint32_t address, std::uint32_t mask) {
    assert(!full());
    ++count_;
    putWord(bytes_, kChunkCount, count_);
    putWord(bytes_, kChunkEntrySize * count_, address);
    putWord(bytes_, kChunkEntrySize * count_ + 4, mask);
}

void AddressChunk::clear() {
    bytes_.fill(0);
    count_ = 0;
}

StringChunk::StringChunk(std::uint32_t listId) {
    putWord(bytes_, 0, listId);
}

bool StringChunk::neverFits(const std::string& text) {
    return kFirst + text.size() >= kStringsEnd;
}

bool StringChunk::fits(const std::string& text) const {
    return position_ + text.size() < kStringsEnd;
}

void StringChunk::add(const std::string& text) {
    assert(fits(text));
    std::memcpy(bytes_.data() + position_, text.c_str(), text.size() + 1);
    position_ += text.size() + 1;
}

void StringChunk::clear() {
    bytes_.fill(0);
    position_ = kFirst;
}

RedirectorNotification readNotification(const unsigned char* datagram) {
    RedirectorNotification station;
    MacAddr::Bytes mac;
    std::copy_n(datagram + notification::kMac, mac.size(), mac.begin());
    station.mac = MacAddr(mac);
    const unsigned char* const name = datagram + notification::kName;
    station.interfaceName.assign(name, std::find(name, name + kNameSize, '\0'));
    station.ip = DataParser::castRowIpToString(datagram + notification::kIp);
    std::memcpy(&station.value, datagram + notification::kValue, sizeof station.value);
    return station;
}

RedirectorGatewayRecord makeGatewayRecord(std::uint32_t address) {
    RedirectorGatewayRecord record{};
    putWord(record, 0, address);
    return record;
}

const unsigned char* gatewayOf(const RedirectorGatewayRecord& record) {
    return record.data() + kGateway;
}

}  // namespace vesta
