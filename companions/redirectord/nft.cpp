#include "redirectord/nft.h"

#include <nftables/libnftables.h>

#include <stdexcept>

namespace redirectord {

void Nft::Free::operator()(nft_ctx* context) const {
    nft_ctx_free(context);
}

Nft::Nft() : context_(nft_ctx_new(NFT_CTX_DEFAULT)) {
    // Buffered output belongs to the context; unbuffered it would go to standard output.
    if (!context_ || nft_ctx_buffer_error(context_.get()) != 0 ||
        nft_ctx_buffer_output(context_.get()) != 0) {
        throw std::runtime_error("no context of libnftables");
    }
}

bool Nft::run(const std::string& commands) {
    nft_ctx_output_set_flags(context_.get(), 0);
    if (nft_run_cmd_from_buffer(context_.get(), commands.c_str()) == 0) {
        return true;
    }
    error_ = nft_ctx_get_error_buffer(context_.get());
    return false;
}

bool Nft::check(const std::string& commands) {
    nft_ctx_set_dry_run(context_.get(), true);
    const bool taken = run(commands);
    nft_ctx_set_dry_run(context_.get(), false);
    return taken;
}

std::string Nft::list(const std::string& command) {
    nft_ctx_output_set_flags(context_.get(), NFT_CTX_OUTPUT_JSON);
    if (nft_run_cmd_from_buffer(context_.get(), command.c_str()) != 0) {
        error_ = nft_ctx_get_error_buffer(context_.get());
        return "";
    }
    return nft_ctx_get_output_buffer(context_.get());
}

}  // namespace redirectord
