#include "portald/channel.h"

#include <openssl/err.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <stdexcept>

namespace portald {
namespace {

[[noreturn]] void fail(const std::string& file, const char* what) {
    std::array<char, 256> reason{};
    ERR_error_string_n(ERR_get_error(), reason.data(), reason.size());
    throw std::runtime_error(file + ": " + what + " (" + reason.data() + ")");
}

bool wouldBlock() {
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
}

}  // namespace

Channel::Channel(ostrel::Fd socket, SSL_CTX* tls) : socket_(std::move(socket)) {
    if (tls != nullptr) {
        ssl_.reset(SSL_new(tls));
        if (ssl_ == nullptr || SSL_set_fd(ssl_.get(), fd()) != 1) {
            throw std::runtime_error("no memory for TLS");
        }
        SSL_set_accept_state(ssl_.get());
    }
}

Channel::Step Channel::read(std::string& bytes, std::size_t most) {
    std::array<char, 4096> piece;
    while (bytes.size() < most) {
        const std::size_t room = std::min(piece.size(), most - bytes.size());
        if (ssl_ != nullptr) {
            ERR_clear_error();
            const int count = SSL_read(ssl_.get(), piece.data(), static_cast<int>(room));
            if (count <= 0) {
                return failed(count);
            }
            bytes.append(piece.data(), static_cast<std::size_t>(count));
            continue;
        }
        const ssize_t count = recv(fd(), piece.data(), room, 0);
        if (count <= 0) {
            return count < 0 && wouldBlock() ? Step::wantsRead : Step::ended;
        }
        bytes.append(piece.data(), static_cast<std::size_t>(count));
        if (static_cast<std::size_t>(count) < room) {
            return Step::wantsRead;
        }
    }
    return Step::done;
}

Channel::Step Channel::write(const std::string& bytes, std::size_t& sent) {
    while (sent < bytes.size()) {
        const std::size_t left = bytes.size() - sent;
        if (ssl_ != nullptr) {
            ERR_clear_error();
            const int count = SSL_write(ssl_.get(), bytes.data() + sent, static_cast<int>(left));
            if (count <= 0) {
                return failed(count);
            }
            sent += static_cast<std::size_t>(count);
            continue;
        }
        const ssize_t count = send(fd(), bytes.data() + sent, left, MSG_NOSIGNAL);
        if (count < 0) {
            return wouldBlock() ? Step::wantsWrite : Step::ended;
        }
        sent += static_cast<std::size_t>(count);
    }
    return Step::done;
}

void Channel::finish() {
    if (ssl_ != nullptr) {
        ERR_clear_error();
        SSL_shutdown(ssl_.get());
    }
    shutdown(fd(), SHUT_WR);
}

Channel::Step Channel::failed(int result) const {
    switch (SSL_get_error(ssl_.get(), result)) {
        case SSL_ERROR_WANT_READ:
            return Step::wantsRead;
        case SSL_ERROR_WANT_WRITE:
            return Step::wantsWrite;
        default:
            return Step::ended;
    }
}

TlsContext makeTlsContext(const std::string& certificate, const std::string& key) {
    TlsContext context(SSL_CTX_new(TLS_server_method()));
    if (context == nullptr || SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION) != 1) {
        fail("TLS", "can't be set up");
    }
    SSL_CTX_set_mode(context.get(), SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_RELEASE_BUFFERS);
    // A station comes once in a while; sessions kept for it would be memory for nothing.
    SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_OFF);
    if (SSL_CTX_use_certificate_chain_file(context.get(), certificate.c_str()) != 1) {
        fail(certificate, "no usable certificate");
    }
    if (SSL_CTX_use_PrivateKey_file(context.get(), key.c_str(), SSL_FILETYPE_PEM) != 1 ||
        SSL_CTX_check_private_key(context.get()) != 1) {
        fail(key, "no usable key of the certificate");
    }
    return context;
}

}  // namespace portald
