#pragma once

// A RADIUS server that does as it is told, on loopback and a port of its own, and messages in hex.
// Its cryptography is computed here, apart from the library's.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ostrel/librad.h"
#include "ostrel/runtime.h"
#include "support/fake_clock.h"

namespace ostrel::testing {

using ByteString = std::vector<std::uint8_t>;

constexpr std::int64_t kSecond = 1000000;
inline const std::string kSecret = "s3cret";

// Time passes, and the library takes notice.
class LoopClock : public vesta::testing::FakeClock {
public:
    void advance(std::int64_t microseconds) {
        advanceMicroseconds(microseconds);
        librad_eloop_step();
    }
};

struct FreeMessage {
    void operator()(librad_radius_msg* msg) const { librad_radius_msg_free(msg); }
};
using Message = std::unique_ptr<librad_radius_msg, FreeMessage>;

inline ByteString fromHex(std::string text) {
    text.erase(std::remove(text.begin(), text.end(), ' '), text.end());
    ByteString bytes(text.size() / 2);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(std::stoul(text.substr(2 * i, 2), nullptr, 16));
    }
    return bytes;
}

inline std::string toHex(const std::uint8_t* data, std::size_t size) {
    std::string text;
    for (std::size_t i = 0; i < size; ++i) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", data[i]);
        text += digits;
    }
    return text;
}

// A packet that has not been signed.
inline ByteString makePacket(std::uint8_t code, std::uint8_t id, const std::string& attributes) {
    ByteString bytes = fromHex(std::string(40, '0') + attributes);
    bytes[0] = code;
    bytes[1] = id;
    bytes[2] = static_cast<std::uint8_t>(bytes.size() >> 8);
    bytes[3] = static_cast<std::uint8_t>(bytes.size());
    return bytes;
}

inline const unsigned char* bytesOf(const std::string& text) {
    return static_cast<const unsigned char*>(static_cast<const void*>(text.data()));
}

inline ByteString bytesOf(const librad_radius_msg* msg) {
    std::size_t length = 0;
    const unsigned char* data = librad_radius_msg_get_bytes(msg, &length);
    return {data, data + length};
}

inline ByteString authenticatorOf(const librad_radius_msg* msg) {
    const unsigned char* at = librad_radius_msg_get_authenticator(msg);
    return {at, at + 16};
}

inline Message parse(const ByteString& bytes) {
    return Message(librad_radius_msg_parse(bytes.data(), bytes.size()));
}

// Where the value of the first Message-Authenticator stands, 0 when there is none.
inline std::size_t messageAuthenticatorAt(const ByteString& packet) {
    for (std::size_t at = 20; at < packet.size(); at += packet[at + 1]) {
        if (packet[at] == LIBRAD_RADIUS_ATTR_MESSAGE_AUTHENTICATOR) {
            return at + 2;
        }
    }
    return 0;
}

enum class Mac { none, valid, wrong };  // a Message-Authenticator

inline const std::string kEmptyMac = "5012" + std::string(32, '0');

// Signs a packet that stands in for an answer (with the request's authenticator) or for a request
// of accounting or dynamic authorisation (with zeros), its Message-Authenticator first.
inline ByteString sign(ByteString packet, const std::string& secret = kSecret,
                       const ByteString& authenticator = ByteString(16), Mac mac = Mac::valid) {
    ByteString digest(16);
    std::copy(authenticator.begin(), authenticator.end(), packet.data() + 4);
    if (const std::size_t at = messageAuthenticatorAt(packet); at != 0) {
        std::copy(digest.begin(), digest.end(), packet.data() + at);
        HMAC(EVP_md5(), secret.data(), static_cast<int>(secret.size()), packet.data(),
             packet.size(), digest.data(), nullptr);
        digest.back() ^= mac == Mac::wrong ? 1U : 0U;
        std::copy(digest.begin(), digest.end(), packet.data() + at);
    }
    ByteString hashed = packet;
    hashed.insert(hashed.end(), secret.begin(), secret.end());
    EVP_Digest(hashed.data(), hashed.size(), packet.data() + 4, nullptr, EVP_md5(), nullptr);
    return packet;
}

// A datagram that arrived.
struct Packet {
    ByteString bytes;
    Message msg;
    sockaddr_in from{};

    [[nodiscard]] std::uint8_t id() const { return bytes[1]; }
    [[nodiscard]] ByteString authenticator() const {
        return {bytes.begin() + 4, bytes.begin() + 20};
    }
    // The first attribute of that type, "" when there is none.
    [[nodiscard]] std::string text(std::uint8_t type) const {
        char buffer[253];
        return {buffer, librad_radius_msg_get_attr(msg.get(), type, buffer, sizeof buffer)};
    }
    [[nodiscard]] std::uint32_t number(std::uint8_t type) const {
        std::uint32_t value = 0;
        EXPECT_EQ(librad_radius_msg_get_attr(msg.get(), type, &value, 4), 4U)
            << "attribute " << int{type};
        return ntohl(value);
    }
};

// A signed answer to `request`, its attributes before the Message-Authenticator.
inline ByteString makeAnswer(const Packet& request, std::uint8_t code, Mac mac = Mac::none,
                             const std::string& attributes = "",
                             const std::string& secret = kSecret) {
    return sign(makePacket(code, request.id(), attributes + (mac == Mac::none ? "" : kEmptyMac)),
                secret, request.authenticator(), mac);
}

inline sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

class Peer {
public:
    Peer() : fd_(socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK, 0)) {
        sockaddr_in address = loopback(0);
        EXPECT_EQ(bind(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        socklen_t length = sizeof address;
        getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &length);
        port_ = ntohs(address.sin_port);
    }
    // The socket stays open, so that no later server of the process is taken for this one.

    [[nodiscard]] std::uint16_t port() const { return port_; }

    [[nodiscard]] std::optional<Packet> receive() const {
        Packet packet;
        packet.bytes.resize(4096);
        socklen_t length = sizeof packet.from;
        const ssize_t size =
            recvfrom(fd_, packet.bytes.data(), packet.bytes.size(), 0,
                     static_cast<sockaddr*>(static_cast<void*>(&packet.from)), &length);
        if (size < 0) {
            return std::nullopt;
        }
        packet.bytes.resize(static_cast<std::size_t>(size));
        packet.msg = parse(packet.bytes);
        return packet;
    }

    void send(const ByteString& bytes, const sockaddr_in& to) const {
        EXPECT_EQ(sendto(fd_, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&to),
                         sizeof to),
                  static_cast<ssize_t>(bytes.size()));
    }

    // Sends and has the library take it.
    void deliver(const ByteString& bytes, const sockaddr_in& to) const {
        send(bytes, to);
        librad_eloop_step();
    }
    void answer(const Packet& to, std::uint8_t code, Mac mac = Mac::none,
                const std::string& attributes = "", const std::string& secret = kSecret) const {
        deliver(makeAnswer(to, code, mac, attributes, secret), to.from);
    }

private:
    int fd_;
    std::uint16_t port_ = 0;
};

// A client and the server that it asks.
class ClientTest : public ::testing::Test {
protected:
    ~ClientTest() override { end(); }

    void makeClient() {
        const librad_radius_server server{"127.0.0.1", server_.port(), librad_secret(kSecret)};
        config_.authServers = {server};
        config_.acctServers = {server};
        client_ = librad_radius_client_init(&config_);
    }
    void end() { librad_radius_client_deinit(std::exchange(client_, nullptr)); }

    // Sends an Access-Request, with an EAP identity or without, and returns its authenticator, none
    // when it is refused.
    ByteString send(bool eap = false) {
        Message msg(librad_radius_msg_new(LIBRAD_RADIUS_CODE_ACCESS_REQUEST,
                                          librad_radius_client_get_id(client_)));
        EXPECT_TRUE(librad_radius_msg_make_authenticator(msg.get(), nullptr, 0));
        const ByteString identity = fromHex("02000008 01626f62");
        EXPECT_TRUE(!eap || librad_radius_msg_add_eap(msg.get(), identity.data(), identity.size()));
        ByteString authenticator = authenticatorOf(msg.get());
        if (librad_radius_client_send(client_, msg.get(), LIBRAD_RADIUS_AUTH, nullptr) != 0) {
            return {};
        }
        static_cast<void>(msg.release());
        return authenticator;
    }
    std::size_t outstanding(librad_radius_kind kind) const {
        return librad_radius_client_outstanding(client_, kind);
    }

    Peer server_;
    librad_radius_client_config config_;
    librad_radius_client* client_ = nullptr;
};

// Asks the server of dynamic authorisation on that port. Returns its answer, whose signatures must
// be right, as "CODE ATTRIBUTES" in hex with a Message-Authenticator of zeros; "" without one.
inline std::string askDas(const Peer& peer, std::uint16_t port, const ByteString& request) {
    peer.deliver(request, loopback(port));
    auto answer = peer.receive();
    if (!answer) {
        return "";
    }
    ByteString& bytes = answer->bytes;
    EXPECT_EQ(answer->id(), request[1]);
    EXPECT_EQ(bytes, sign(bytes, kSecret, {request.begin() + 4, request.begin() + 20}));
    if (const std::size_t at = messageAuthenticatorAt(bytes); at != 0) {
        std::fill_n(bytes.data() + at, 16, std::uint8_t{0});
    }
    return std::to_string(bytes[0]) + " " + toHex(bytes.data() + 20, bytes.size() - 20);
}

}  // namespace ostrel::testing
