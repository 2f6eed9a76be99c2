#pragma once

// A connection's bytes, with or without TLS, never waited for.
//
// Threads: one object belongs to one thread.

#include <openssl/ssl.h>

#include <memory>
#include <string>

#include "ostrel/runtime.h"

namespace portald {

class Channel {
public:
    // What came of a step: it did what it could; it goes on when the socket is readable, or
    // writable; the connection has ended.
    enum class Step { done, wantsRead, wantsWrite, ended };

    // `socket` is non-blocking. `tls`: null for plain HTTP; outlives the channel.
    Channel(ostrel::Fd socket, SSL_CTX* tls);

    [[nodiscard]] int fd() const { return socket_.get(); }
    [[nodiscard]] bool secure() const { return ssl_ != nullptr; }

    // Appends what has arrived to `bytes`, up to `most` bytes in all.
    [[nodiscard]] Step read(std::string& bytes, std::size_t most);
    // Sends `bytes` from `sent` on, and moves `sent`. done: all of them.
    [[nodiscard]] Step write(const std::string& bytes, std::size_t& sent);
    // Tells the peer that nothing comes any more.
    void finish();

private:
    struct FreeSsl {
        void operator()(SSL* ssl) const { SSL_free(ssl); }
    };

    [[nodiscard]] Step failed(int result) const;

    ostrel::Fd socket_;
    std::unique_ptr<SSL, FreeSsl> ssl_;
};

struct FreeContext {
    void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};
using TlsContext = std::unique_ptr<SSL_CTX, FreeContext>;

// A server's side of TLS 1.2 and later. Throws std::runtime_error that names the file when a
// certificate (PEM, with its chain) or its key can't be used.
[[nodiscard]] TlsContext makeTlsContext(const std::string& certificate, const std::string& key);

}  // namespace portald
