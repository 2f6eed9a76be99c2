#include "ostrel/factory.h"

#include <gmock/gmock.h>

#include "factory/machine.h"
#include "ostrel/runtime.h"
#include "platform/support.h"

namespace ostrel {
namespace {

using ostrel::testing::TempDirectory;
using ostrel::testing::writeFile;
using ::testing::HasSubstr;

std::string lastReport;

class FactoryTest : public ::testing::Test {
protected:
    FactoryTest() {
        setenv("OSTREL_FACTORY_FILE", file.c_str(), 1);
        lastReport.clear();
        setLogSink([](LogLevel, const char* text) { lastReport = text; });
    }
    ~FactoryTest() override {
        setLogSink(nullptr);
        unsetenv("OSTREL_FACTORY_FILE");
    }

    TempDirectory directory;
    const std::string file = directory.path("factory.json");
};

TEST_F(FactoryTest, TheMachineServesForWhatIsMissing) {
    libfactory_data data;
    data.hardwareVersion = "left over";
    ASSERT_EQ(libfactory_load(data), 0);
    EXPECT_EQ(lastReport, "");
    EXPECT_EQ(data.deviceName, hostName());
    EXPECT_EQ(data.hardwareVersion, "");
    EXPECT_EQ(data.mac2, data.mac);

    writeFile(file,
              R"({"mac": "AA-BB-CC-00-11-22", "serial-number": "", "hardware-version": "2"})");
    ASSERT_EQ(libfactory_load(data), 0);
    EXPECT_EQ(data.mac, "aa:bb:cc:00:11:22");
    EXPECT_EQ(data.mac2, data.mac);
    EXPECT_EQ(data.serialNumber, machineId());
    EXPECT_EQ(data.hardwareVersion, "2");
}

TEST_F(FactoryTest, AGarbledFileIsNamedAndTheMachineServes) {
    const struct {
        std::string text;
        const char* reason;
    } cases[] = {
        {"", "not a JSON object"},
        {"[1]", "not a JSON object"},
        {R"({"device-name": "x", "mac": )", "not a JSON object"},
        {R"({"device-name": "x", "serial-number": 7})", "\"serial-number\" is not a line of text"},
        {R"({"device-name": "x", "mac": "aa:bb"})", "\"mac\" is not a hardware address: aa:bb"},
        {R"({"device-name": "x", "mac2": true})", "\"mac2\" is not a line of text"},
        {std::string(70000, ' ') + "{}", "can't be read"},
    };
    for (const auto& garbled : cases) {
        SCOPED_TRACE(garbled.text.substr(0, 60));
        writeFile(file, garbled.text);
        libfactory_data data;
        EXPECT_EQ(libfactory_load(data), -1);
        EXPECT_THAT(lastReport, HasSubstr(file));
        EXPECT_THAT(lastReport, HasSubstr(garbled.reason));
        EXPECT_EQ(data.deviceName, hostName());
    }
}

TEST(Machine, PrefersTheFirstInterfaceWithADevice) {
    const TempDirectory net;
    EXPECT_EQ(interfaceMac(net.path("none")), "");
    writeFile(net.path("lo/address"), "00:00:00:00:00:01\n");
    writeFile(net.path("ifb0/address"), "00:00:00:00:00:00\n");
    EXPECT_EQ(interfaceMac(net.path()), "");
    writeFile(net.path("veth1/address"), "02:00:00:00:00:22\n");
    writeFile(net.path("veth0/address"), "02:00:00:00:00:11\n");
    EXPECT_EQ(interfaceMac(net.path()), "02:00:00:00:00:11");
    writeFile(net.path("wlan0/address"), "02:00:00:00:00:44\n");
    writeFile(net.path("wlan0/device/vendor"), "");
    EXPECT_EQ(interfaceMac(net.path()), "02:00:00:00:00:44");
}

}  // namespace
}  // namespace ostrel
