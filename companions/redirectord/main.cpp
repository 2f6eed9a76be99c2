// redirectord: the module server that stands in for the redirector and the shaper on stock Linux.

#include <linux/capability.h>

#include <cstdio>
#include <exception>

#include "common/event_loop.h"
#include "common/privileges.h"
#include "common/program.h"
#include "redirectord/nft.h"
#include "redirectord/options.h"
#include "redirectord/ruleset.h"
#include "redirectord/service.h"
#include "redirectord/white_lists.h"

namespace {

using namespace redirectord;

enum Status { kOk = 0, kFailed = 1 };

class NoShaper final : public ShaperLines {
public:
    void shaperLine(std::string_view) override {}
    void deviceAppeared(const std::string&) override {}
    void forgetStation(const StationKey&) override {}
};

int flush() {
    companion::EventLoop loop;
    const NewsListener alone(loop, [](const auto&) {});
    Nft nft;
    if (!nft.run(removeRuleset())) {
        std::fprintf(stderr, "redirectord: the tables can't be removed: %s\n", nft.error().c_str());
        return kFailed;
    }
    return kOk;
}

// False when everything is to be put up again.
bool serve(const Options& options) {
    companion::EventLoop loop;
    Nft nft;
    installRuleset(nft, options);
    WhiteLists lists(loop, nft);
    NoShaper shaper;
    Service service(loop, options, nft, lists, shaper);
    ostrel::report(ostrel::LogLevel::debug, "ready");
    loop.run();
    if (!service.lostTables() && options.openOnExit && !nft.run(removeRuleset())) {
        ostrel::report(ostrel::LogLevel::error, "the tables can't be removed: %s",
                       nft.error().c_str());
    }
    return !service.lostTables();
}

}  // namespace

int main(int argc, char** argv) {
    int status = kOk;
    const std::optional<Options> options = parseOptions(argc, argv, status);
    if (!options) {
        return status;
    }
    companion::reportToStandardError("redirectord", options->verbose);
    try {
        companion::keepOnlyCapabilities({CAP_NET_ADMIN});
        if (options->flush) {
            return flush();
        }
        while (!serve(*options)) {
        }
        return kOk;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "redirectord: %s\n", error.what());
        return kFailed;
    }
}
