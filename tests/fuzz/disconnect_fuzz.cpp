// Any datagrams to the disconnect server, for a portal with one station: how it is signed, its code
// and its attributes. The station goes by what is answered with an ACK and by nothing else, and
// only a signed Disconnect-Request is.

#include "fuzz/daemon.h"
#include "ipc/portal_fixture.h"
#include "platform/librad/support.h"
#include "radius/radius_das_handler.h"
#include "support/radius_instance.h"

namespace {

using namespace fuzz;
using ostrel::testing::ByteString;

constexpr const char* kMac = "02:00:00:00:00:01";

std::string vapText() {
    std::string text = vesta::testing::vapText("wlan0-va1", "Guest", "radius");
    return text.insert(text.size() - 2, vesta::testing::radiusObject(1812, 1813));
}

class Requests final : public Outside<vesta::testing::PortalFixture> {
public:
    explicit Requests(vesta::testing::FakeClock& clock) : Outside(vapText()), clock_(clock) {
        // The loop is driven here.
        vesta::Singleton<vesta::RadiusListener>::getInstance().stop();
    }

    void play(Pieces& input) {
        clock_.monotonic += 301 * ostrel::testing::kSecond;  // an answer is remembered for 300 s
        connect(kMac, "10.0.0.1");
        const bool isSigned = input.byte() % 4 != 0;
        const std::uint8_t code = input.byte();
        ByteString request = makeRequest(code, input.piece());
        if (isSigned) {
            request = ostrel::testing::sign(request);
        }
        const std::string answer = ostrel::testing::askDas(peer_, server_.getPort(), request);
        const bool isGone = portal_->dumpClientToMessage(
                                {vesta::MacAddr(kMac), "", "", ""},
                                std::make_shared<vesta::IPCDumpClientMessageFactory>()) == nullptr;
        require(isGone == (answer.compare(0, 3, "41 ") == 0));
        require(isSigned || answer.empty());
        require(!isGone || code == LIBRAD_RADIUS_CODE_DISCONNECT_REQUEST);
    }

private:
    // Attributes that are not well formed can't be signed: they follow a good one, which is.
    static ByteString makeRequest(std::uint8_t code, const std::string& attributes) {
        const ByteString request = ostrel::testing::makePacket(
            code, 1,
            ostrel::testing::toHex(ostrel::testing::bytesOf(attributes), attributes.size()));
        return ostrel::testing::parse(request)
                   ? request
                   : ostrel::testing::makePacket(
                         code, 1,
                         ostrel::testing::kEmptyMac +
                             ostrel::testing::toHex(request.data() + 20, attributes.size()));
    }

    ostrel::testing::Peer peer_;
    vesta::testing::FakeClock& clock_;
    vesta::RadiusDasHandler server_{portal_, 0};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static vesta::testing::FakeClock clock;
    static Requests requests(clock);
    for (Pieces pieces(data, size); !pieces.empty();) {
        requests.play(pieces);
    }
    return 0;
}
