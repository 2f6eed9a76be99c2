// configd: serves a configuration file to vestad, as module 1 of the bus.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <optional>
#include <thread>

#include "common/event_loop.h"
#include "common/privileges.h"
#include "common/program.h"
#include "configd/document.h"
#include "configd/server.h"
#include "ostrel/ipc.h"

namespace {

enum Status { kOk = 0, kFailed = 1, kWrongInput = 2 };

struct Options {
    std::string file;
    bool check = false;
    bool verbose = false;
};

// Nothing when the program is to go on; else its exit status.
std::optional<int> parseOptions(int argc, char** argv, Options& options) {
    CLI::App app("configd - serves a configuration file to vestad", "configd");
    app.add_option("FILE", options.file, "The configuration: JSON, with or without comments")
        ->required();
    app.add_flag("--check", options.check, "Only say what is wrong with the file");
    app.add_flag("--verbose", options.verbose, "Report every request on standard error");
    app.footer(
        "Serves the vestad with the same OSTREL_RUNTIME_DIR until SIGTERM. The file is read anew\n"
        "whenever a daemon asks; a daemon asks when it starts.\n"
        "Exit status: 0 after SIGTERM, 1 when the bus can't be joined or --check found something\n"
        "wrong, 2 wrong input.");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? kOk : kWrongInput;
    }
    return std::nullopt;
}

int check(const std::string& file) {
    const std::string problem = configd::readDocument(file).problem;
    if (!problem.empty()) {
        std::fprintf(stderr, "configd: %s\n", problem.c_str());
        return kFailed;
    }
    std::printf("%s: well formed\n", file.c_str());
    return kOk;
}

int serve(const std::string& file) {
    constexpr int kBacklog = 5;
    companion::EventLoop loop;
    IpcInterface ipc(IPC_MODULE_CONFIGURATION, false, kBacklog);
    configd::Server server(file);
    const std::string problem = configd::readDocument(file).problem;
    if (!problem.empty()) {
        ostrel::report(ostrel::LogLevel::error, "%s", problem.c_str());
    }
    std::thread bus([&] {
        ipc.process({{"get-initial-config", [&](void*, void*, int sender) {
                          const std::string answer = server.answer(sender);
                          if (!answer.empty() && !ipc.send(answer, sender)) {
                              ostrel::report(ostrel::LogLevel::warning,
                                             "module %d can't be answered", sender);
                          }
                      }}});
    });
    loop.run();
    ipc.stop();
    bus.join();
    return kOk;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (const std::optional<int> status = parseOptions(argc, argv, options)) {
        return *status;
    }
    companion::reportToStandardError("configd", options.verbose);
    try {
        companion::keepOnlyCapabilities({});
        return options.check ? check(options.file) : serve(options.file);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "configd: %s\n", error.what());
        return kFailed;
    }
}
