// redirectord: the module server that stands in for the redirector and the shaper on stock Linux.

#include <cstdio>
#include <exception>

#include "common/event_loop.h"
#include "common/program.h"
#include "redirectord/nft.h"
#include "redirectord/ruleset.h"

int main(int argc, char** argv) {
    companion::reportToStandardError("redirectord", true);
    try {
        companion::EventLoop loop;
        redirectord::Nft nft;
        std::string commands = redirectord::baseRuleset();
        for (int i = 1; i < argc; ++i) {
            commands += redirectord::hookDevice(argv[i]);
        }
        if (!nft.run(commands)) {
            ostrel::report(ostrel::LogLevel::error, "the ruleset: %s", nft.error().c_str());
            return 1;
        }
        loop.run();
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "redirectord: %s\n", error.what());
        return 1;
    }
}
