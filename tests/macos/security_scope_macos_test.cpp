#include <gtest/gtest.h>

#include "quernlight/backend/security_scope.hpp"
#include "tests/macos/framework_objects.hpp"

namespace {

/// What the sandbox was asked, and how it answers.
struct FakeSandbox {
    std::vector<std::string> calls{};
    bool grants = true;
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
    return sandbox.grants;
}

void CFURLStopAccessingSecurityScopedResource(CFURLRef url) {
    sandbox.calls.push_back("stop " + url->text);
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

}  // namespace
}  // namespace quernlight
