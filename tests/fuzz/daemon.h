#pragma once

// What targets of the daemon share. They borrow the fixtures of the tests, whose expectations hold
// here too.

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "core/json_entry.h"
#include "core/logger.h"
#include "fuzz/input.h"
#include "fuzz/message.h"
#include "messages/dump_dialect.h"
#include "ostrel/log.h"
#include "portal/portal.h"
#include "station/client_identity.h"
#include "support/fake_clock.h"

namespace fuzz {

// A fixture outside of a test. Every log record is made, and none is written.
template <class Fixture>
class Outside : public Fixture {
protected:
    template <class... Arguments>
    explicit Outside(const Arguments&... arguments) : Fixture(arguments...) {
        GTEST_FLAG_SET(break_on_failure, true);
        ostrel_log_set_filename("/dev/null");
        vesta::logger().setLogLevel(7);
    }

private:
    void TestBody() override {}
};

// Plays the input's lines to the one target, which is made of a clock that outlives its threads.
template <class Target>
int playLines(const std::uint8_t* data, std::size_t size) {
    static vesta::testing::FakeClock clock;
    static Target target(clock);
    target.play(linesOf(data, size));
    return 0;
}

inline bool isAdmitted(const vesta::Portal& portal, const std::string& mac) {
    const auto station = portal.dumpClientToMessage(
        {vesta::MacAddr(mac), "", "", ""}, std::make_shared<vesta::IPCDumpClientMessageFactory>());
    return station != nullptr && station->getCharValue("access-type") == "Allow";
}

}  // namespace fuzz
