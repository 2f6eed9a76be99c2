#include "portald/detection.h"

#include <array>
#include <string_view>

namespace portald {
namespace {

struct Probe {
    std::string_view host;  // "": any
    std::string_view path;
    int status;
    const char* contentType;
    const char* body;
};

constexpr const char* kHtml = "text/html";
constexpr const char* kText = "text/plain";
constexpr const char* kApple =
    "<HTML><HEAD><TITLE>Success</TITLE></HEAD><BODY>Success</BODY></HTML>\n";
constexpr const char* kNetworkManager = "NetworkManager is online\n";

constexpr std::array<Probe, 17> kProbes = {{
    // iOS and macOS
    {"captive.apple.com", "/", 200, kHtml, kApple},
    {"captive.apple.com", "/hotspot-detect.html", 200, kHtml, kApple},
    {"www.apple.com", "/library/test/success.html", 200, kHtml, kApple},
    // Android and ChromeOS; a dozen hosts have these
    {"", "/generate_204", 204, kText, ""},
    {"", "/gen_204", 204, kText, ""},
    // Windows
    {"www.msftconnecttest.com", "/connecttest.txt", 200, kText, "Microsoft Connect Test"},
    {"ipv6.msftconnecttest.com", "/connecttest.txt", 200, kText, "Microsoft Connect Test"},
    {"www.msftncsi.com", "/ncsi.txt", 200, kText, "Microsoft NCSI"},
    // Firefox
    {"detectportal.firefox.com", "/success.txt", 200, kText, "success\n"},
    {"detectportal.firefox.com", "/canonical.html", 200, kHtml,
     "<meta http-equiv=\"refresh\" "
     "content=\"0;url=https://support.mozilla.org/kb/captive-portal\"/>"},
    // NetworkManager of GNOME and KDE, as the distributions set it
    {"nmcheck.gnome.org", "/check_network_status.txt", 200, kText, kNetworkManager},
    {"network-test.debian.org", "/nm", 200, kText, kNetworkManager},
    {"connectivity-check.ubuntu.com", "/", 204, kText, ""},
    {"fedoraproject.org", "/static/hotspot.txt", 200, kText, "OK\n"},
    {"networkcheck.kde.org", "/", 200, kText, "OK\n"},
    {"conncheck.opensuse.org", "/", 200, kText, kNetworkManager},
    {"ping.archlinux.org", "/nm-check.txt", 200, kText, kNetworkManager},
}};

}  // namespace

std::optional<Reply> onlineAnswer(const Asked& asked) {
    for (const Probe& probe : kProbes) {
        if ((probe.host.empty() || asked.host == probe.host) && asked.path == probe.path) {
            Reply reply;
            reply.status = probe.status;
            reply.contentType = probe.contentType;
            reply.body = probe.body;
            reply.headers.emplace_back("X-NetworkManager-Status", "online");
            return reply;
        }
    }
    return std::nullopt;
}

}  // namespace portald
