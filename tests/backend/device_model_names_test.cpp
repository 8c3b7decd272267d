#include "quernlight/backend/device_model_names.hpp"

#include <map>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "quernlight/backend/device_model_table.hpp"

namespace quernlight {
namespace {

std::optional<std::string> display(std::optional<std::string_view> identifier,
                                   std::optional<std::string_view> name = std::nullopt) {
    return DeviceModelNames::displayName(identifier, name);
}

TEST(DeviceModelNamesTest, AnIdentifierWithoutADeviceNameIsShownWithItsMarketingName) {
    EXPECT_EQ(display("iPhone15,2"), "iPhone 14 Pro (iPhone15,2)");
}

TEST(DeviceModelNamesTest, AGivenDeviceNameWinsOverTheMarketingName) {
    EXPECT_EQ(display("iPhone15,2", "Test Phone"), "Test Phone (iPhone15,2)");
}

TEST(DeviceModelNamesTest, AnUnknownIdentifierWithoutADeviceNameIsShownAlone) {
    EXPECT_EQ(display("Mac99,9"), "Mac99,9");
}

TEST(DeviceModelNamesTest, AnUnknownIdentifierIsShownBehindTheGivenDeviceName) {
    EXPECT_EQ(display("Mac99,9", "Lab Mac"), "Lab Mac (Mac99,9)");
}

TEST(DeviceModelNamesTest, ADeviceNameWithoutAnIdentifierIsShownAloneAndTrimmed) {
    EXPECT_EQ(display(std::nullopt, " Lab Mac "), "Lab Mac");
    EXPECT_EQ(display(" \n", " Lab Mac "), "Lab Mac");
}

TEST(DeviceModelNamesTest, NothingIsShownWhenBothAreAbsentOrBlank) {
    EXPECT_EQ(display(std::nullopt), std::nullopt);
    EXPECT_EQ(display("", ""), std::nullopt);
    EXPECT_EQ(display(" \t\r\n", "\n "), std::nullopt);
}

TEST(DeviceModelNamesTest, ASimulatorIsShownWithTheArchitectureItRunsOn) {
    EXPECT_EQ(display("arm64"), "iPhone Simulator (arm64)");
}

TEST(DeviceModelNamesTest, ABlankDeviceNameLeavesTheMarketingNameInPlace) {
    EXPECT_EQ(display("Mac14,2", "  \n"), "MacBook Air (M2, 2022) (Mac14,2)");
}

TEST(DeviceModelNamesTest, BothInputsAreTrimmedBeforeTheyAreJoined) {
    EXPECT_EQ(display("\n iPhone15,2\t", "\r\nTest Phone "), "Test Phone (iPhone15,2)");
}

TEST(DeviceModelNamesTest, ADeviceNamedLikeItsIdentifierIsShownOnce) {
    EXPECT_EQ(display("Mac14,2", " Mac14,2 "), "Mac14,2");
}

TEST(DeviceModelNamesTest, WhiteSpaceAroundAnIdentifierIsIgnored) {
    EXPECT_EQ(DeviceModelNames::name(" Mac14,2\n"), "MacBook Air (M2, 2022)");
}

TEST(DeviceModelNamesTest, IdentifiersAreMatchedWithTheirLetterCase) {
    EXPECT_EQ(DeviceModelNames::name("mac14,2"), std::nullopt);
}

TEST(DeviceModelNamesTest, IdentifiersAreMatchedWhole) {
    EXPECT_EQ(DeviceModelNames::name("Mac14"), std::nullopt);
    EXPECT_EQ(DeviceModelNames::name("Mac14,2x"), std::nullopt);
}

TEST(DeviceModelNamesTest, AnAbsentBlankOrUnknownIdentifierHasNoName) {
    EXPECT_EQ(DeviceModelNames::name(std::nullopt), std::nullopt);
    EXPECT_EQ(DeviceModelNames::name(""), std::nullopt);
    EXPECT_EQ(DeviceModelNames::name(" \n"), std::nullopt);
    EXPECT_EQ(DeviceModelNames::name("Mac99,9"), std::nullopt);
}

class DeviceModelTableTest : public testing::Test {
  protected:
    static std::map<std::string_view, int> rowsByName() {
        std::map<std::string_view, int> counts;
        for (const DeviceModelRow& row : deviceModelTable())
            ++counts[row.name];
        return counts;
    }
};

TEST_F(DeviceModelTableTest, HoldsThreeHundredAndTwentyFourRows) {
    EXPECT_EQ(deviceModelTable().size(), 324U);
}

TEST_F(DeviceModelTableTest, ListsNoIdentifierTwice) {
    std::set<std::string_view> seen;
    for (const DeviceModelRow& row : deviceModelTable()) {
        EXPECT_TRUE(seen.insert(row.identifier).second) << row.identifier;
    }
}

TEST_F(DeviceModelTableTest, EveryRowIsFoundByItsIdentifier) {
    for (const DeviceModelRow& row : deviceModelTable()) {
        EXPECT_FALSE(row.name.empty()) << row.identifier;
        EXPECT_EQ(DeviceModelNames::name(row.identifier), row.name) << row.identifier;
    }
}

TEST_F(DeviceModelTableTest, SeventeenNamesAreSharedBySeveralIdentifiers) {
    int shared = 0;
    for (const auto& [name, rows] : rowsByName())
        shared += rows > 1 ? 1 : 0;
    EXPECT_EQ(shared, 17);
}

TEST_F(DeviceModelTableTest, HardwareThatIsSoldUnderOneNameSharesIt) {
    EXPECT_EQ(rowsByName()["MacBook Pro (16-inch, 2019)"], 2);
    EXPECT_EQ(rowsByName()["Apple Watch SE 40mm case (GPS)"], 2);
    EXPECT_EQ(rowsByName()["iPhone Simulator"], 3);
}

TEST_F(DeviceModelTableTest, OnlyTwoNamesSpellCellularWithThreeLs) {
    std::set<std::string_view> misspelt;
    for (const DeviceModelRow& row : deviceModelTable()) {
        if (row.name.find("Celllular") != std::string_view::npos)
            misspelt.insert(row.identifier);
    }
    EXPECT_EQ(misspelt, (std::set<std::string_view>{"Watch7,19", "Watch7,20"}));
}

struct KnownDevice {
    std::string_view identifier;
    std::string_view name;
};

void PrintTo(const KnownDevice& device, std::ostream* out) {
    *out << device.identifier;
}

class KnownDeviceTest : public testing::TestWithParam<KnownDevice> {};

TEST_P(KnownDeviceTest, HasItsMarketingName) {
    EXPECT_EQ(DeviceModelNames::name(GetParam().identifier), GetParam().name);
}

constexpr KnownDevice knownDevices[] = {
    {"i386", "iPhone Simulator"},
    {"x86_64", "iPhone Simulator"},
    {"arm64", "iPhone Simulator"},
    {"Mac13,1", "Mac Studio (M1 Max)"},
    {"Mac14,2", "MacBook Air (M2, 2022)"},
    {"Mac16,1", "MacBook Pro (14-inch, M4, Nov 2024)"},
    {"Mac17,9", "MacBook Pro (14-inch, M5 Pro)"},
    {"MacPro7,1-Rack", "Mac Pro (Rack, 2019)"},
    {"VMM-x86_64", "Virtual Machine (x86_64)"},
    {"VirtualMac2,1", "Apple Virtual Machine"},
    {"Macmini9,1", "Mac mini (M1, Late 2020)"},
    {"iMacPro1,1", "iMac Pro"},
    {"iPhone1,1", "iPhone"},
    {"iPhone10,3", "iPhone X Global"},
    {"iPhone15,2", "iPhone 14 Pro"},
    {"iPhone18,4", "iPhone Air"},
    {"iPod1,1", "1st Gen iPod"},
    {"iPad13,1", "iPad Air 4th Gen (WiFi)"},
    {"iPad16,6", "iPad Pro 12.9 inch 7th Gen (WiFi+Cellular)"},
    {"Watch6,1", "Apple Watch Series 6 40mm case (GPS)"},
    {"Watch7,19", "Apple Watch Series 11 42mm case (GPS+Celllular)"},
    {"Watch7,20", "Apple Watch Series 11 46mm case (GPS+Celllular)"},
};

INSTANTIATE_TEST_SUITE_P(Devices, KnownDeviceTest, testing::ValuesIn(knownDevices));

}  // namespace
}  // namespace quernlight
