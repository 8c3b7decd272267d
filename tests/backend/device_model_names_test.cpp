#include "quernlight/backend/device_model_names.hpp"

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace quernlight {
namespace {

/// What is known of a device, and how it is shown.
struct ShownDevice {
    const char* name;
    std::optional<std::string_view> identifier;
    std::optional<std::string_view> deviceName;
    std::optional<std::string> shown;
};

TEST(DeviceModelNamesTest, ADeviceIsShownByItsNameOrItsMarketingNameWithItsIdentifier) {
    const ShownDevice rows[] = {
        {"a known identifier", "iPhone15,2", {}, "iPhone 14 Pro (iPhone15,2)"},
        {"a given name wins", "iPhone15,2", "Test Phone", "Test Phone (iPhone15,2)"},
        {"an unknown identifier", "Mac99,9", {}, "Mac99,9"},
        {"an unknown identifier and a name", "Mac99,9", "Lab Mac", "Lab Mac (Mac99,9)"},
        {"a name alone", {}, " Lab Mac ", "Lab Mac"},
        {"a blank identifier", " \n", " Lab Mac ", "Lab Mac"},
        {"nothing", {}, {}, {}},
        {"two empty texts", "", "", {}},
        {"two blank texts", " \t\r\n", "\n ", {}},
        {"two blank texts of Unicode", "\u2003", "\u3000", {}},
        {"a simulator", "arm64", {}, "iPhone Simulator (arm64)"},
        {"a blank name", "Mac14,2", "  \n", "MacBook Air (M2, 2022) (Mac14,2)"},
        {"both trimmed", "\n iPhone15,2\t", "\r\nTest Phone ", "Test Phone (iPhone15,2)"},
        {"named like its identifier", "Mac14,2", " Mac14,2 ", "Mac14,2"},
        {"named like its marketing name", "iPhone15,2", "iPhone 14 Pro", "iPhone 14 Pro (iPhone15,2)"},
    };
    for (const ShownDevice& row : rows) {
        EXPECT_EQ(DeviceModelNames::displayName(row.identifier, row.deviceName), row.shown) << row.name;
    }
}

TEST(DeviceModelNamesTest, WhiteSpaceOfUnicodeAroundAnIdentifierIsIgnored) {
    EXPECT_EQ(DeviceModelNames::name(" Mac14,2\n"), "MacBook Air (M2, 2022)");
    EXPECT_EQ(DeviceModelNames::name("\u00A0Mac14,2\u2028"), "MacBook Air (M2, 2022)");
}

TEST(DeviceModelNamesTest, OnlyAWholeIdentifierInItsLetterCaseHasAName) {
    for (const char* identifier : {"", " \n", "Mac99,9", "mac14,2", "Mac14", "Mac14,2x"}) {
        EXPECT_EQ(DeviceModelNames::name(identifier), std::nullopt) << identifier;
    }
    EXPECT_EQ(DeviceModelNames::name(std::nullopt), std::nullopt);
}

/// Each followed by a blank.
constexpr const char* everyIdentifier =
    "i386 x86_64 arm64 Mac13,1 Mac13,2 Mac14,10 Mac14,12 Mac14,13 Mac14,14 Mac14,15 Mac14,2 Mac14,3 "
    "Mac14,5 Mac14,6 Mac14,7 Mac14,8 Mac14,9 Mac15,10 Mac15,11 Mac15,12 Mac15,13 Mac15,14 Mac15,3 Mac15,4 "
    "Mac15,5 Mac15,6 Mac15,7 Mac15,8 Mac15,9 Mac16,1 Mac16,10 Mac16,11 Mac16,12 Mac16,13 Mac16,2 Mac16,3 "
    "Mac16,5 Mac16,6 Mac16,7 Mac16,8 Mac16,9 Mac17,2 Mac17,3 Mac17,4 Mac17,5 Mac17,6 Mac17,7 Mac17,8 "
    "Mac17,9 MacBook10,1 MacBookAir10,1 MacBookAir7,1 MacBookAir7,2 MacBookAir8,1 MacBookAir8,2 "
    "MacBookAir9,1 MacBookPro11,4 MacBookPro11,5 MacBookPro12,1 MacBookPro13,1 MacBookPro13,2 "
    "MacBookPro13,3 MacBookPro14,1 MacBookPro14,2 MacBookPro14,3 MacBookPro15,1 MacBookPro15,2 "
    "MacBookPro15,3 MacBookPro15,4 MacBookPro16,1 MacBookPro16,2 MacBookPro16,3 MacBookPro16,4 "
    "MacBookPro17,1 MacBookPro18,1 MacBookPro18,2 MacBookPro18,3 MacBookPro18,4 MacPro6,1 MacPro7,1 "
    "MacPro7,1-Rack Macmini7,1 Macmini8,1 Macmini9,1 VMM-x86_64 VirtualMac2,1 iMac15,1 iMac16,1 iMac16,2 "
    "iMac17,1 iMac18,1 iMac18,2 iMac18,3 iMac19,1 iMac19,2 iMac20,1 iMac20,2 iMac21,1 iMac21,2 iMacPro1,1 "
    "iPhone1,1 iPhone1,2 iPhone2,1 iPhone3,1 iPhone3,2 iPhone3,3 iPhone4,1 iPhone5,1 iPhone5,2 iPhone5,3 "
    "iPhone5,4 iPhone6,1 iPhone6,2 iPhone7,1 iPhone7,2 iPhone8,1 iPhone8,2 iPhone8,4 iPhone9,1 iPhone9,2 "
    "iPhone9,3 iPhone9,4 iPhone10,1 iPhone10,2 iPhone10,3 iPhone10,4 iPhone10,5 iPhone10,6 iPhone11,2 "
    "iPhone11,4 iPhone11,6 iPhone11,8 iPhone12,1 iPhone12,3 iPhone12,5 iPhone12,8 iPhone13,1 iPhone13,2 "
    "iPhone13,3 iPhone13,4 iPhone14,2 iPhone14,3 iPhone14,4 iPhone14,5 iPhone14,6 iPhone14,7 iPhone14,8 "
    "iPhone15,2 iPhone15,3 iPhone15,4 iPhone15,5 iPhone16,1 iPhone16,2 iPhone17,1 iPhone17,2 iPhone17,3 "
    "iPhone17,4 iPhone17,5 iPhone18,1 iPhone18,2 iPhone18,3 iPhone18,4 iPod1,1 iPod2,1 iPod3,1 iPod4,1 "
    "iPod5,1 iPod7,1 iPod9,1 iPad1,1 iPad1,2 iPad2,1 iPad2,2 iPad2,3 iPad2,4 iPad3,1 iPad3,2 iPad3,3 "
    "iPad2,5 iPad2,6 iPad2,7 iPad3,4 iPad3,5 iPad3,6 iPad4,1 iPad4,2 iPad4,3 iPad4,4 iPad4,5 iPad4,6 "
    "iPad4,7 iPad4,8 iPad4,9 iPad5,1 iPad5,2 iPad5,3 iPad5,4 iPad6,3 iPad6,4 iPad6,7 iPad6,8 iPad6,11 "
    "iPad6,12 iPad7,1 iPad7,2 iPad7,3 iPad7,4 iPad7,5 iPad7,6 iPad7,11 iPad7,12 iPad8,1 iPad8,2 iPad8,3 "
    "iPad8,4 iPad8,5 iPad8,6 iPad8,7 iPad8,8 iPad8,9 iPad8,10 iPad8,11 iPad8,12 iPad11,1 iPad11,2 "
    "iPad11,3 iPad11,4 iPad11,6 iPad11,7 iPad12,1 iPad12,2 iPad14,1 iPad14,2 iPad13,1 iPad13,2 iPad13,4 "
    "iPad13,5 iPad13,6 iPad13,7 iPad13,8 iPad13,9 iPad13,10 iPad13,11 iPad13,16 iPad13,17 iPad13,18 "
    "iPad13,19 iPad14,3 iPad14,4 iPad14,5 iPad14,6 iPad14,8 iPad14,9 iPad14,10 iPad14,11 iPad15,3 "
    "iPad15,4 iPad15,5 iPad15,6 iPad15,7 iPad15,8 iPad16,1 iPad16,2 iPad16,3 iPad16,4 iPad16,5 iPad16,6 "
    "Watch1,1 Watch1,2 Watch2,6 Watch2,7 Watch2,3 Watch2,4 Watch3,1 Watch3,2 Watch3,3 Watch3,4 Watch4,1 "
    "Watch4,2 Watch4,3 Watch4,4 Watch5,1 Watch5,2 Watch5,3 Watch5,4 Watch5,9 Watch5,10 Watch5,11 "
    "Watch5,12 Watch6,1 Watch6,2 Watch6,3 Watch6,4 Watch6,6 Watch6,7 Watch6,8 Watch6,9 Watch6,10 "
    "Watch6,11 Watch6,12 Watch6,13 Watch6,14 Watch6,15 Watch6,16 Watch6,17 Watch6,18 Watch7,1 Watch7,2 "
    "Watch7,3 Watch7,4 Watch7,5 Watch7,8 Watch7,9 Watch7,10 Watch7,11 Watch7,12 Watch7,13 Watch7,14 "
    "Watch7,15 Watch7,16 Watch7,17 Watch7,18 Watch7,19 Watch7,20 ";

class DeviceModelTableTest : public testing::Test {
  protected:
    static std::map<std::string_view, int> rowsByName() {
        std::map<std::string_view, int> counts;
        for (const DeviceModelRow& row : deviceModelTable())
            ++counts[row.name];
        return counts;
    }
};

TEST_F(DeviceModelTableTest, ListsEveryIdentifierInOrder) {
    std::string identifiers;
    for (const DeviceModelRow& row : deviceModelTable()) {
        identifiers.append(row.identifier).append(" ");
    }
    EXPECT_EQ(identifiers, everyIdentifier);
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

TEST_F(DeviceModelTableTest, KnownDevicesHaveTheirMarketingNames) {
    for (const KnownDevice& device : knownDevices) {
        EXPECT_EQ(DeviceModelNames::name(device.identifier), device.name) << device.identifier;
    }
}

}  // namespace
}  // namespace quernlight
