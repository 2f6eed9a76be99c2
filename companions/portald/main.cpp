// portald: the HTTP side of an access point: sends stations without access to their login page,
// shows it, and logs them in.

#include <sys/resource.h>

#include <algorithm>
#include <cstdio>

#include "common/event_loop.h"
#include "common/privileges.h"
#include "common/program.h"
#include "portald/options.h"
#include "portald/portal.h"
#include "portald/reception.h"

namespace {

enum Status { kOk = 0, kFailed = 1 };

// Each connection is a descriptor, and a few are needed besides.
constexpr rlim_t kOtherDescriptors = 64;

// As many of `wanted` connections as the system allows.
std::size_t allowConnections(std::size_t wanted) {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return wanted;
    }
    limit.rlim_cur =
        std::min(std::max<rlim_t>(limit.rlim_cur, wanted + kOtherDescriptors), limit.rlim_max);
    setrlimit(RLIMIT_NOFILE, &limit);
    const rlim_t room = limit.rlim_cur - std::min(limit.rlim_cur / 2, kOtherDescriptors);
    return static_cast<std::size_t>(std::min<rlim_t>(wanted, room));
}

void serve(const portald::Options& options) {
    const portald::Settings& settings = options.settings;
    const portald::PageSet pages(options.templates, [](const std::string& what) {
        ostrel::report(ostrel::LogLevel::error, "%s; the built-in one serves", what.c_str());
    });
    portald::ReceptionLimits limits;
    limits.connections = allowConnections(limits.connections);
    portald::TlsContext tls;
    if (!options.certificate.empty()) {
        tls = portald::makeTlsContext(options.certificate, options.key);
    }
    companion::EventLoop loop;
    companion::keepOnlyCapabilities({});
    portald::BusDaemon daemon(loop, ostrel::runtimeDirectory());
    companion::NeighbourTables kernel;
    portald::Neighbours neighbours([&kernel] { return kernel.neighbours(); });
    portald::Portal portal(daemon, neighbours, pages, settings,
                           [&loop](std::chrono::milliseconds delay, std::function<void()> next) {
                               loop.after(delay, std::move(next));
                           });
    portald::Reception reception(
        loop, limits, [&](portald::Reception::ConnectionId id, const portald::Asked& asked) {
            portal.handle(asked, [&reception, id](const portald::Reply& reply) {
                reception.answer(id, reply);
            });
        });
    reception.listen(settings.port, nullptr);
    if (tls) {
        reception.listen(settings.tlsPort, tls.get());
    }
    std::fprintf(stderr, "portald: serving on port %d%s\n", settings.port,
                 tls ? (" and, with TLS, " + std::to_string(settings.tlsPort)).c_str() : "");
    loop.run();
}

}  // namespace

int main(int argc, char** argv) {
    int status = kOk;
    const std::optional<portald::Options> options = portald::parseOptions(argc, argv, status);
    if (!options) {
        return status;
    }
    if (options->printDhcp) {
        std::fputs(portald::dhcpLines(options->settings).c_str(), stdout);
        return kOk;
    }
    companion::reportToStandardError("portald", options->verbose);
    try {
        serve(*options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "portald: %s\n", error.what());
        return kFailed;
    }
    return kOk;
}
