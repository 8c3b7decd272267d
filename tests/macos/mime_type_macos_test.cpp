#include <map>

#include <CoreServices/CoreServices.h>
#include <gtest/gtest.h>

#include "quernlight/backend/attachment.hpp"
#include "tests/macos/framework_objects.hpp"

namespace {

/// The uniform types that the system knows, and what it was asked of them.
struct FakeTypes {
    std::map<std::string, std::string> typeOfExtension{};
    std::map<std::string, std::string> mimeTypeOfType{};
    std::vector<std::string> questions{};
};

FakeTypes types;

CFStringRef find(const std::map<std::string, std::string>& known, const std::string& key) {
    const auto found = known.find(key);
    return found == known.end() ? nullptr : new __CFString{found->second};
}

const __CFString filenameExtension{"filename extension"};
const __CFString mimeType{"MIME type"};

}  // namespace

extern "C" {

const CFStringRef kUTTagClassFilenameExtension = &filenameExtension;
const CFStringRef kUTTagClassMIMEType = &mimeType;

CFStringRef UTTypeCreatePreferredIdentifierForTag(CFStringRef tagClass, CFStringRef tag, CFStringRef) {
    types.questions.push_back("type of " + tagClass->text + " " + tag->text);
    return find(types.typeOfExtension, tag->text);
}

CFStringRef UTTypeCopyPreferredTagWithClass(CFStringRef type, CFStringRef tagClass) {
    types.questions.push_back(tagClass->text + " of " + type->text);
    return find(types.mimeTypeOfType, type->text);
}

}  // extern "C"

namespace quernlight {
namespace {

/// The MIME types of macOS over uniform types in memory.
class MacMimeTypeTest : public testing::Test {
  protected:
    MacMimeTypeTest() {
        types = {.typeOfExtension = {{"png", "public.png"}, {"quern", "public.quern"}},
                 .mimeTypeOfType = {{"public.png", "image/png"}}};
    }

    ~MacMimeTypeTest() override {
        EXPECT_EQ(test::liveFrameworkObjects(), objectsBefore) << "a framework object was not released";
    }

    const long objectsBefore = test::liveFrameworkObjects();
};

TEST_F(MacMimeTypeTest, IsThePreferredTagOfTheExtensionsType) {
    EXPECT_EQ(mimeTypeForExtension("png"), "image/png");
    EXPECT_EQ(types.questions,
              (std::vector<std::string>{"type of filename extension png", "MIME type of public.png"}));
}

TEST_F(MacMimeTypeTest, IsJustBytesWhenTheTypeHasNoneOrThereIsNoExtension) {
    EXPECT_EQ(mimeTypeForExtension("quern"), "application/octet-stream") << "a type without a MIME tag";
    EXPECT_EQ(mimeTypeForExtension("unknown"), "application/octet-stream") << "no type";
    EXPECT_EQ(mimeTypeForExtension(""), "application/octet-stream") << "no extension";
}

}  // namespace
}  // namespace quernlight
