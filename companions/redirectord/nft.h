#pragma once

// The one kept libnftables context. A new context, or the command line tool, costs thirty times as
// much as a command in one that is kept.
//
// Threads: one. The context works in the network namespace in which it was made.

#include <memory>
#include <string>

struct nft_ctx;

namespace redirectord {

class Nft {
public:
    // Throws std::runtime_error when there is no memory or no netlink.
    Nft();

    // Runs `commands`, in nft's own language, as one transaction: all of them or none. False with
    // the reason in error(). About 0.1 ms; a command about a table with many sets costs more, and
    // one that changes an interval set is slower with each element of it.
    [[nodiscard]] bool run(const std::string& commands);
    // Whether the kernel would take `commands`; nothing changes.
    [[nodiscard]] bool check(const std::string& commands);
    // What nft said to the last run() or check() that failed; it names the place in the commands.
    [[nodiscard]] const std::string& error() const { return error_; }
    // What a `list` command prints, as JSON; "" when it fails, with the reason in error(). Never in
    // a hot path: listing walks whole tables.
    [[nodiscard]] std::string list(const std::string& command);

private:
    struct Free {
        void operator()(nft_ctx* context) const;
    };
    std::unique_ptr<nft_ctx, Free> context_;
    std::string error_;
};

}  // namespace redirectord
