// The examples of docs/bus.md, played in their order.

#include <fstream>
#include <utility>
#include <vector>

#include "portal_fixture.h"
#include "support/bus_peer.h"
#include "support/fake_clock.h"

namespace vesta::testing {
namespace {

struct Example {
    std::string request;
    std::string answer;
};

// Under the heading `section`, "    -> " begins a request and "    <- " its answer; lines that are
// indented deeper go on.
std::vector<Example> examplesOf(const std::string& section) {
    std::ifstream page(VESTA_DOCS "/bus.md");
    std::vector<Example> examples;
    bool inside = false;
    std::string* text = nullptr;
    for (std::string line; std::getline(page, line);) {
        if (line.rfind("## ", 0) == 0) {
            inside = line == "## " + section;
        } else if (inside && line.rfind("    -> ", 0) == 0) {
            text = &examples.emplace_back().request;
        } else if (inside && line.rfind("    <- ", 0) == 0) {
            text = &examples.back().answer;
        } else if (line.rfind("       ", 0) != 0) {
            text = nullptr;
        }
        if (text != nullptr) {
            *text += line.substr(7);
        }
    }
    return examples;
}

// In place of what the page shows of an access point.
std::string here(std::string text, const Portal& portal) {
    const std::pair<std::string, std::string> places[] = {{"192.168.1.2", portal.getProxyIp()},
                                                          {"00:11:22:33:44:55", ""}};
    for (const auto& [shown, actual] : places) {
        for (std::size_t at = 0; (at = text.find(shown, at)) != std::string::npos;) {
            text.replace(at, shown.size(), actual);
        }
    }
    return text;
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
