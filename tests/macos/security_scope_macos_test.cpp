#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include <gtest/gtest.h>

#include "quernlight/backend/attachment.hpp"
#include "tests/macos/framework_objects.hpp"
#include "tests/support/temporary_directory.hpp"

namespace {

/// What the sandbox was asked, and how it answers.
struct FakeSandbox {
    std::vector<std::string> calls{};
    bool grants = true;
    bool keepsFileFromOthers = false;  ///< the file is there only while access is open
};

FakeSandbox sandbox;

}  // namespace

extern "C" {

CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef, const UInt8* path, CFIndex length,
                                                 Boolean isDirectory) {
    const std::string text(reinterpret_cast<const char*>(path), static_cast<std::size_t>(length));
    return new __CFURL{isDirectory ? text + "/" : text};
}

Boolean CFURLStartAccessingSecurityScopedResource(CFURLRef url) {
    sandbox.calls.push_back("start " + url->text);
    if (sandbox.keepsFileFromOthers) {
        quernlight::test::writeFile(url->text, "x");
    }
    return sandbox.grants;
}

void CFURLStopAccessingSecurityScopedResource(CFURLRef url) {
    sandbox.calls.push_back("stop " + url->text);
    if (sandbox.keepsFileFromOthers) {
        std::filesystem::remove(url->text);
    }
}

}  // extern "C"

namespace quernlight {
namespace {

/// The security scope of macOS over a sandbox in memory.
class SecurityScopeTest : public testing::Test {
  protected:
    SecurityScopeTest() { sandbox = FakeSandbox(); }

    ~SecurityScopeTest() override {
        EXPECT_EQ(test::liveFrameworkObjects(), objectsBefore) << "a framework object was not released";
    }

    using Calls = std::vector<std::string>;

    const long objectsBefore = test::liveFrameworkObjects();
};

TEST_F(SecurityScopeTest, IsOpenAsLongAsTheResultLives) {
    auto scope = openSecurityScope("/a b");
    ASSERT_NE(scope, nullptr);
    EXPECT_EQ(sandbox.calls, (Calls{"start /a b"}));
    scope.reset();
    EXPECT_EQ(sandbox.calls, (Calls{"start /a b", "stop /a b"}));
}

TEST_F(SecurityScopeTest, AFileThatNeedsNoGrantIsNotClosed) {
    sandbox.grants = false;
    EXPECT_EQ(openSecurityScope("/a b"), nullptr);
    EXPECT_EQ(sandbox.calls, (Calls{"start /a b"}));
}

TEST_F(SecurityScopeTest, AnAttachmentIsReadWhileItsScopeIsOpen) {
    const test::TemporaryDirectory directory;
    const std::string file = (directory / "a.png").string();
    sandbox.keepsFileFromOthers = true;
    EXPECT_EQ(readAttachment(file).bytes, "x");
    EXPECT_EQ(sandbox.calls, (Calls{"start " + file, "stop " + file}));
}

TEST_F(SecurityScopeTest, IsClosedWhenAnAttachmentCannotBeRead) {
    const test::TemporaryDirectory directory;
    const std::string missing = (directory / "a.png").string();
    EXPECT_THROW(readAttachment(missing), std::system_error);
    EXPECT_EQ(sandbox.calls, (Calls{"start " + missing, "stop " + missing}));
}

}  // namespace
}  // namespace quernlight
