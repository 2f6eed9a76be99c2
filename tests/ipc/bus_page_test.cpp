// The examples of docs/bus.md, played in their order.

#include <regex>

#include "portal_fixture.h"
#include "support/bus_peer.h"
#include "support/fake_clock.h"

namespace vesta::testing {
namespace {

struct Example {
    std::string request;
    std::string answer;
};

// Under the heading `section`, "    -> " begins a request, "    <- " its answer, and an empty line
// ends that.
std::vector<Example> examplesOf(const std::string& section) {
    const std::string page = pageText("bus.md");
    std::size_t at = page.find("\n## " + section + "\n");
    const std::size_t end = page.find("\n## ", at + 1);
    std::vector<Example> examples;
    while ((at = page.find("\n    -> ", at) + 8) < end) {
        const std::size_t answer = page.find("\n    <- ", at) + 8;
        const std::size_t last = page.find("\n\n", answer);
        examples.push_back({page.substr(at, answer - 8 - at), page.substr(answer, last - answer)});
    }
    return examples;
}

// In place of what the page shows of an access point.
std::string here(const std::string& text, const Portal& portal) {
    static const std::regex shownIp(R"(192\.168\.1\.2)");
    static const std::regex shownMac("00:11:22:33:44:55");
    return std::regex_replace(std::regex_replace(text, shownIp, portal.getProxyIp()), shownMac, "");
}

class BusPage : public PortalFixture {
protected:
    BusPage()
        : PortalFixture(vapText("wlan0-va1", "Guest", "portal",
                                R"({"access-type": "forbid", "name": "login",
                                    "redirect-url": "http://portal.example/login",
                                    "virtual-portal-name": "main", "auth-scenario": "guest"},
                                   {"access-type": "allow", "name": "guest"})")) {}

    FakeClock clock_;
};

TEST_F(BusPage, ShowsRequestsAsTheyAreAnswered) {
    const json contexts[] = {7, "a", nullptr, {1, {{"a", {false}}}}, 1.5, true, json::object()};
    const auto peerModule = static_cast<ipc_module_t>(77);
    BusPeer peer(peerModule, {"get-response", "get-redirect-params-response",
                              "validate-ip-response", "validate-response", "update-response",
                              "update-scenario-response", "cp-del-client-response"});
    connect("02:00:00:00:00:01", "10.0.0.1");
    ASSERT_TRUE(listener_.run());
    std::size_t played = 0;
    for (const Example& example : examplesOf("What vestad answers")) {
        SCOPED_TRACE(example.request);
        json request = json::parse(example.request);
        json expected = json::parse(here(example.answer, *portal_));
        expected["context"] = request["context"] = contexts[played++ % std::size(contexts)];
        ASSERT_TRUE(peer.ipc.send(request.dump(), IPC_MODULE_VESTAD));
        const json answer = json::parse(peer.next(), nullptr, false);
        EXPECT_EQ(json::diff(expected, answer), json::array());
    }
    EXPECT_EQ(played, 8U);
    listener_.stop();
    listener_.join();
}

}  // namespace
}  // namespace vesta::testing
