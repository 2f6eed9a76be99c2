// The program itself: its start, its end, and what it says when it can't start.

#include "portal_fixture.h"
#include "support/child_process.h"

using ::testing::HasSubstr;
using ::testing::StartsWith;
using vesta::testing::ChildProcess;

namespace portald::testing {
namespace {

TEST(Program, servesUntilItIsTold) {
    const vesta::testing::RuntimeDirectory runtime;
    std::string port;
    ChildProcess portald;
    bool serves = false;
    // Another process may take the port that was free a moment ago.
    for (int i = 0; i < 5 && !serves; ++i) {
        port = std::to_string(vesta::testing::freePort());
        portald.start({PORTALD_PROGRAM, "--port", port}, ChildProcess::Output::heard);
        serves = portald.waitForText("serving on port " + port);
    }
    ASSERT_TRUE(serves);
    const Browser browser(static_cast<std::uint16_t>(std::stoi(port)), "127.0.0.1");
    browser.send("GET / HTTP/1.1\r\n\r\n");
    EXPECT_THAT(browser.receive(), StartsWith("HTTP/1.1 503")) << "there is no vestad";

    ChildProcess second;
    second.start({PORTALD_PROGRAM, "--port", port}, ChildProcess::Output::heard);
    EXPECT_EQ(second.waitForEnd(), 1);
    EXPECT_THAT(second.said(), HasSubstr("port " + port + " can't be listened on"));

    portald.signal(SIGTERM);
    EXPECT_EQ(portald.waitForEnd(), 0);
}

}  // namespace
}  // namespace portald::testing
