#include "device/factory_data.h"

#include <gtest/gtest.h>

#include "platform/support.h"

namespace vesta {
namespace {

using ostrel::testing::writeFile;

class FactoryTest : public ::testing::Test {
protected:
    FactoryTest() { setenv("OSTREL_FACTORY_FILE", directory.path("factory.json").c_str(), 1); }
    ~FactoryTest() override { unsetenv("OSTREL_FACTORY_FILE"); }

    ostrel::testing::TempDirectory directory;
};

TEST_F(FactoryTest, PrefixHasTheDeviceAndItsVersion) {
    writeFile(directory.path("factory.json"),
              R"({"device-name": "AP-7", "serial-number": "S1", "hardware-version": "2v0",
                  "mac": "02:00:00:00:00:0a", "mac2": "02:00:00:00:00:0b"})");
    const std::string device = "[VENDOR:Ostrel][DEVICE:AP-7][HW:2v0][SN:S1][MAC:02:00:00:00:00:0a]";
    const std::pair<const char*, const char*> versions[] = {
        {"3v12\n", "[VERSION:3v12]\r\n"},
        {"3.12", "[VERSION:3.12]\r\n"},
        {"3.12.7\n", "[VERSION:3.12]\r\n"},
        {"3-12\n", "\r\n"},
        {"", "\r\n"},
    };
    for (const auto& [version, end] : versions) {
        writeFile(directory.path("version"), version);
        EXPECT_EQ(Factory(directory.path("version")).getTrapPrefix(), device + end);
    }
    const Factory factory(directory.path("no version"));
    EXPECT_EQ(factory.getTrapPrefix(), device + "\r\n");
    EXPECT_EQ(factory.getMac(), "02:00:00:00:00:0a");
    EXPECT_EQ(factory.getSecondMac(), "02:00:00:00:00:0b");
}

TEST_F(FactoryTest, PrefixHasNoDeviceWhenTheDataCannotBeRead) {
    writeFile(directory.path("factory.json"), "no JSON");
    EXPECT_EQ(Factory(directory.path("no version")).getTrapPrefix(), "[VENDOR:Ostrel]\r\n");
}

}  // namespace
}  // namespace vesta
