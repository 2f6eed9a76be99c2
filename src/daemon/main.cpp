// The entry function: it takes the configuration from the bus, builds and wires the long-lived
// objects, and runs the portal loop on the main thread.

#include <getopt.h>
#include <json-c/json.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <string>
#include <utility>

#include "apb/apbd_collaborator.h"
#include "client/deauth_tool.h"
#include "core/fatal_error.h"
#include "core/json_entry.h"
#include "core/logger.h"
#include "core/singleton.h"
#include "daemon/allocator.h"
#include "daemon/pid_file.h"
#include "daemon/signals.h"
#include "ipc/ipc_event_listener.h"
#include "ostrel/ipc.h"
#include "ostrel/runtime.h"
#include "portal/portal.h"
#include "radius/radius_das_handler.h"
#include "radius/radius_listener.h"
#include "statistics/ipc_information_collector.h"

namespace vesta {
namespace {

constexpr int kBusBacklog = 50;

struct Options {
    std::string uplink;
    std::string apLocation;
};

// Ignores whatever else stands on the command line.
Options parseOptions(int argc, char** argv) {
    Options options;
    opterr = 0;
    int option = 0;
    while ((option = getopt(argc, argv, "i:l:")) != -1) {
        if (option == 'i') {
            options.uplink = optarg;
        } else if (option == 'l') {
            options.apLocation = optarg;
        }
    }
    return options;
}

class Daemon {
public:
    // Returns when the portal loop has been stopped.
    void run(const Options& options);
    // Ends the process with status 1, without running destructors beneath living threads.
    [[noreturn]] void fail(const char* reason) const;

private:
    std::shared_ptr<MessageEntry> receiveConfiguration() const;
    void build(std::shared_ptr<MessageEntry> config, const Options& options);
    void serve();
    void end();

    std::shared_ptr<IpcInterface> ipc_;
    std::shared_ptr<Portal> portal_;
    std::shared_ptr<APBDCollaborator> apbd_;
    std::shared_ptr<IPCEventListener> listener_;
    std::unique_ptr<RadiusDasHandler> disconnectServer_;
};

void Daemon::run(const Options& options) {
    ipc_ = std::make_shared<IpcInterface>(IPC_MODULE_VESTAD, false, kBusBacklog);
    std::shared_ptr<MessageEntry> config = receiveConfiguration();
    logger().setTraceOpts(config);
    logger().Debug("Started\n");
    writePidFile();
    build(std::move(config), options);
    serve();
    end();
}

std::shared_ptr<MessageEntry> Daemon::receiveConfiguration() const {
    std::fprintf(stderr, "vestad: waiting for the configuration from module %d on %s/bus/%d\n",
                 IPC_MODULE_CONFIGURATION, ostrel::runtimeDirectory().c_str(),
                 IPC_MODULE_CONFIGURATION);
    void* const document = ipc_->receive_initial_config();
    auto config = std::make_shared<JsonEntry>(document);
    json_object_put(static_cast<json_object*>(document));
    return config;
}

void Daemon::build(std::shared_ptr<MessageEntry> config, const Options& options) {
    portal_ = std::make_shared<Portal>(ipc_, config, options.uplink, options.apLocation);
    portal_->setInformationCollector(std::make_shared<IPCInformationCollector>(ipc_));
    installSignalHandlers();
    apbd_ = std::make_shared<APBDCollaborator>(config, ipc_, portal_);
    portal_->setClientInformationStore(apbd_);
    portal_->addClientsEventsInformator(apbd_);
    config.reset();
    listener_ = std::make_shared<IPCEventListener>(portal_, apbd_, ipc_);
    disconnectServer_ = std::make_unique<RadiusDasHandler>(portal_);
}

void Daemon::serve() {
    logger().Debug("Going to listen ipc\n");
    listener_->run();
    disconnectServer_->run();
    portal_->start();
    listener_->stop();
    listener_->join();
    Singleton<RadiusListener>::getInstance().stop();
    logger().Debug("End of portal\n");
}

// Destroys nothing before the threads have ended that may use it.
void Daemon::end() {
    removePidFile();
    Singleton<DeauthTool>::getInstance().stop();
    ipc_->close();
    listener_.reset();
    disconnectServer_.reset();
    apbd_.reset();
    portal_.reset();
    ipc_.reset();
}

void Daemon::fail(const char* reason) const {
    reportFatalError("%s\n", reason);
    _exit(EXIT_FAILURE);
}

}  // namespace
}  // namespace vesta

int main(int argc, char** argv) {
    vesta::tuneAllocator();
    // The failing write tells of a peer or a pipe that has gone.
    signal(SIGPIPE, SIG_IGN);
    // Until there is a log to be opened anew.
    signal(SIGHUP, SIG_IGN);
    vesta::Daemon daemon;
    try {
        daemon.run(vesta::parseOptions(argc, argv));
    } catch (const std::exception& problem) {
        daemon.fail(problem.what());
    } catch (...) {
        daemon.fail("Unhandled exception. Exit.");
    }
    return EXIT_SUCCESS;
}
