// What portald costs the stations in front of it: rows of the table on standard output. vestad's
// and portald's processes, and stations that are addresses of loopback.

#include <cstdio>
#include <exception>
#include <stdexcept>

#include "page_load.h"
#include "running_daemon.h"
#include "stations.h"
#include "support/runtime_directory.h"
#include "table.h"

namespace vesta::bench {
namespace {

constexpr std::size_t kStations = 4000;

// The configuration's pages are to be portald's own.
constexpr const char* kName = "portal.example";

bool isRedirect(const std::string& answer) {
    return answer.find("HTTP/1.1 302") == 0;
}

std::string firstRequest(const std::string& answer) {
    return answer.empty() ? "GET /news HTTP/1.1\r\nHost: www.example\r\n"
                            "Accept-Language: de,en;q=0.5\r\n\r\n"
                          : "";
}

// The login page, then its form.
std::string loginRequest(const std::string& answer) {
    const std::string host = std::string(" HTTP/1.1\r\nHost: ") + kName + "\r\n";
    if (answer.empty()) {
        return "GET /" + host + "\r\n";
    }
    const std::string mark = "name=\"token\" value=\"";
    const std::size_t token = answer.find(mark);
    if (token == std::string::npos) {
        return "";
    }
    const std::size_t begin = token + mark.size();
    const std::string form =
        "login=anna&password=secret&token=" + answer.substr(begin, answer.find('"', begin) - begin);
    return "POST /portal/login" + host +
           "Content-Type: application/x-www-form-urlencoded\r\nContent-Length: " +
           std::to_string(form.size()) + "\r\n\r\n" + form;
}

bool isAdmitted(const std::string& answer) {
    return answer.find("HTTP/1.1 303") == 0 && answer.find("Location: /\r\n") != std::string::npos;
}

class Measurement {
public:
    explicit Measurement(const std::string& runtimeDirectory)
        : daemon_(daemonConfiguration(runtimeDirectory), testing::isolated(VESTAD_PROGRAM)),
          port_(testing::freePort()) {
        portald_.start({PORTALD_PROGRAM, "--port", std::to_string(port_), "--name", kName},
                       testing::ChildProcess::Output::heard);
        if (!portald_.waitForText("serving on port")) {
            throw std::runtime_error("portald does not start: " + portald_.said());
        }
        for (std::size_t i = 0; i < kStations; ++i) {
            const apsim::StationId id{interfaceOf(0), macOf(i)};
            daemon_.accessPoint().associations().associate(id);
            daemon_.accessPoint().modules().notify(id, loopbackOf(i));
        }
        daemon_.waitForPasses(3);
    }

    void redirects() {
        const PageLoad alone = visitPages(port_, 0, 1000, 1, firstRequest, isRedirect);
        row("ms from a station's first request to its redirect, one at a time, median", 2,
            alone.median(), alone);
        const PageLoad hundred = visitPages(port_, 0, 4000, 100, firstRequest, isRedirect);
        row("the same, 100 at a time", 30, hundred.median(), hundred);
        printRow("redirects a second", "at least 3,000", twoDigits(hundred.perSecond()),
                 hundred.perSecond() >= 3000);
        const PageLoad thousand = visitPages(port_, 0, 1000, 1000, firstRequest, isRedirect);
        row("ms that the last of 1,000 stations waits that ask at once", 1000, thousand.longest(),
            thousand);
    }

    void logins() {
        const PageLoad alone = visitPages(port_, 0, 200, 1, loginRequest, isAdmitted);
        row("ms of a login (page, form, admitted), one at a time, median", 20, alone.median(),
            alone);
        const PageLoad many = visitPages(port_, 200, 2000, 50, loginRequest, isAdmitted);
        printRow("logins a second, 50 at a time", "at least 300", twoDigits(many.perSecond()),
                 many.perSecond() >= 300 && many.wrong == 0);
    }

private:
    static void row(const std::string& what, int most, double measured, const PageLoad& load) {
        printRow(what, "at most " + std::to_string(most),
                 twoDigits(measured) + " (" + std::to_string(load.wrong) + " wrong answers)",
                 measured <= most && load.wrong == 0);
    }

    RunningDaemon daemon_;
    const std::uint16_t port_;
    testing::ChildProcess portald_;
};

}  // namespace
}  // namespace vesta::bench

int main() {
    try {
        const vesta::testing::RuntimeDirectory directory;
        vesta::bench::Measurement measurement(directory.path());
        measurement.redirects();
        measurement.logins();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "pages_bench: %s\n", error.what());
        return 1;
    }
    return 0;
}
