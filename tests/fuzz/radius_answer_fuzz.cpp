// Any answers of a RADIUS server to the requests for one station. The first byte picks the mode;
// then come, for each answer, how it is signed, its code and its attributes. Only a genuine Accept
// lets the station in, only a genuine Reject throws it out.

#include "auth/portal_mac_authenticator.h"
#include "auth/radius_authenticator.h"
#include "fuzz/daemon.h"
#include "radius/worker_fixture.h"

namespace {

using namespace fuzz;
using ostrel::testing::ByteString;
using ostrel::testing::Packet;

enum class Signature : std::uint8_t { both, authenticator, wrong, none };

// The attributes need not be well formed.
ByteString makeAnswer(const Packet& request, Signature signature, std::uint8_t code,
                      const std::string& attributes) {
    const bool both = signature == Signature::both || signature == Signature::wrong;
    const ByteString answer = ostrel::testing::makePacket(
        code, request.id(),
        (both ? ostrel::testing::kEmptyMac : "") +
            ostrel::testing::toHex(ostrel::testing::bytesOf(attributes), attributes.size()));
    // Without the first attribute in front, signing would have to walk through the others.
    if (signature == Signature::none || (!both && !ostrel::testing::parse(answer))) {
        return answer;
    }
    return ostrel::testing::sign(answer, signature == Signature::wrong ? "guess" : "s3cret",
                                 request.authenticator());
}

class Answers final : public Outside<vesta::testing::WorkerTest> {
public:
    void play(Pieces input) {
        authenticator_.reset();
        const bool byMac = input.byte() % 2 != 0;
        build(byMac ? vesta::AUTH_MODE_PORTAL_MAC : vesta::AUTH_MODE_RADIUS);
        if (byMac) {
            authenticator_ = std::make_unique<vesta::PortalMacAuthenticator>(worker_, owner_);
        } else {
            authenticator_ = std::make_unique<vesta::RadiusAuthenticator>(worker_, owner_);
        }
        require(worker_->sendAuthPacket(newClient(), "bob"));
        librad_eloop_step();
        while (!input.empty()) {
            const auto request = server_.receive();
            if (!request) {
                break;
            }
            answer(*request, input);
        }
        vesta::RadiusWorker::deleteSta(clients_.back()->getRadiusSta());
        clients_.clear();
    }

private:
    void answer(const Packet& request, Pieces& input) {
        const auto signature = static_cast<Signature>(input.byte() % 4);
        const std::uint8_t code = input.byte();
        server_.deliver(makeAnswer(request, signature, code, input.piece()), request.from);
        for (const std::string& asked : std::exchange(owner_.asked, {})) {
            const bool isGenuine =
                signature == Signature::both || signature == Signature::authenticator;
            require(isGenuine && code == (asked.compare(0, 7, "deleted") == 0
                                              ? LIBRAD_RADIUS_CODE_ACCESS_REJECT
                                              : LIBRAD_RADIUS_CODE_ACCESS_ACCEPT));
        }
    }

    std::unique_ptr<vesta::Authenticator> authenticator_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Answers answers;
    answers.play(Pieces(data, size));
    return 0;
}
