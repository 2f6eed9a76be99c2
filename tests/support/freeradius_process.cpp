#include "freeradius_process.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>

#include "ostrel/runtime.h"

namespace vesta::testing {
namespace {

std::uint16_t freePort() {
    const ostrel::Fd fd(socket(AF_INET, SOCK_DGRAM, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), length) != 0 ||
        getsockname(fd.get(), reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        throw std::runtime_error("no free port");
    }
    return ntohs(address.sin_port);
}

}  // namespace

bool FreeradiusProcess::installed() {
    return std::system("command -v freeradius radclient >/dev/null 2>&1") == 0;
}

FreeradiusProcess::FreeradiusProcess(const std::string& secret, const std::string& users)
    : authPort_(freePort()), acctPort_(freePort()) {
    writeConfiguration(secret, users);
    start();
}

FreeradiusProcess::~FreeradiusProcess() {
    if (pid_ > 0) {
        kill(pid_, SIGTERM);
        waitpid(pid_, nullptr, 0);
    }
}

void FreeradiusProcess::writeConfiguration(const std::string& secret,
                                           const std::string& users) const {
    std::string text = ostrel::testing::readFile(FREERADIUS_FILES "/radiusd.conf.in");
    for (const auto& [name, value] :
         {std::pair<std::string, std::string>{"@DIR@", directory_.path()},
          {"@SECRET@", secret},
          {"@AUTH@", std::to_string(authPort_)},
          {"@ACCT@", std::to_string(acctPort_)}}) {
        for (std::size_t at = 0; (at = text.find(name)) != std::string::npos;) {
            text.replace(at, name.size(), value);
        }
    }
    ostrel::testing::writeFile(directory_.path("radiusd.conf"), text);
    std::filesystem::copy(FREERADIUS_FILES "/dictionary", directory_.path());
    ostrel::testing::writeFile(directory_.path("users"), users);
}

void FreeradiusProcess::start() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    const ostrel::Fd output(ends[0]);
    ostrel::Fd input(ends[1]);
    pid_ = fork();
    if (pid_ == 0) {
        umask(077);
        dup2(input.get(), STDOUT_FILENO);
        dup2(input.get(), STDERR_FILENO);
        execlp("freeradius", "freeradius", "-f", "-l", "stdout", "-d", directory_.path().c_str(),
               static_cast<char*>(nullptr));
        _exit(127);
    }
    input.reset();
    std::string said;
    char buffer[4096];
    while (said.find("Ready to process requests") == std::string::npos) {
        const ssize_t length = read(output.get(), buffer, sizeof buffer);
        if (length <= 0) {
            throw std::runtime_error("freeradius does not start: " + said);
        }
        said.append(buffer, static_cast<std::size_t>(length));
    }
}

std::string FreeradiusProcess::detail() const {
    return ostrel::testing::readFile(directory_.path("detail"));
}

bool FreeradiusProcess::disconnect(std::uint16_t port, const std::string& secret,
                                   const std::string& attributes) {
    const std::string command = "radclient -r 1 -t 10 127.0.0.1:" + std::to_string(port) +
                                " disconnect " + secret + " >/dev/null 2>&1";
    FILE* const client = popen(command.c_str(), "w");
    if (client == nullptr) {
        throw std::runtime_error("radclient does not start");
    }
    std::fputs((attributes + "\nMessage-Authenticator = 0x00\n").c_str(), client);
    return pclose(client) == 0;
}

}  // namespace vesta::testing
