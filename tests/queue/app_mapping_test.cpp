#include "quernlight/queue/mapping_repository.hpp"

#include <gtest/gtest.h>

#include "quernlight/platform/user_directories.hpp"

namespace quernlight {
namespace {

std::string resolved(std::optional<std::string> worktreeRootPath) {
    return AppMapping{.repoPath = "~/code/../lantern", .worktreeRootPath = std::move(worktreeRootPath)}
        .resolvedWorktreeRootPath();
}

std::string underHome(const std::string& path) {
    return standardizedPath(userHomeDirectory(currentEnvironmentMap()).string() + "/" + path);
}

TEST(AppMappingTest, WithoutAWorktreeRootTheRepositoryIsTakenAsItStands) {
    EXPECT_EQ(resolved(std::nullopt), "~/code/../lantern");
}

TEST(AppMappingTest, ABlankWorktreeRootCountsAsNone) {
    EXPECT_EQ(resolved("   "), "~/code/../lantern");
    EXPECT_EQ(resolved(" \n\t"), "~/code/../lantern");
}

TEST(AppMappingTest, AWorktreeRootIsExpandedAndStandardised) {
    EXPECT_EQ(resolved("~/trees/old/../new"), underHome("trees/new"));
    EXPECT_EQ(resolved("~"), underHome(""));
    EXPECT_EQ(resolved("/trees/./lantern/"), "/trees/lantern");
}

TEST(AppMappingTest, BlanksAroundAWorktreeRootBelongToIt) {
    EXPECT_EQ(resolved("/trees/lantern "), "/trees/lantern ");
    EXPECT_EQ(resolved(" ~/trees"), (std::filesystem::current_path() / " ~/trees").string());
}

TEST(AppMappingTest, BranchAndProfileHaveDefaults) {
    EXPECT_EQ(AppMapping().baseBranch, "main");
    EXPECT_EQ(AppMapping().codexProfile, "default");
}

}  // namespace
}  // namespace quernlight
