#include "quernlight/git/git_validator.hpp"

#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/git/fake_git.hpp"
#include "tests/git/git_sandbox.hpp"
#include "tests/support/process_state.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight {
namespace {

using test::Arguments;
using testing::ElementsAre;

GitValidationResult validate(const std::string& repository, const std::string& branch,
                             GitRunner run = runGit) {
    return test::runTask(GitValidator::validate(repository, branch, std::move(run)));
}

class GitValidatorTest : public testing::Test {
  protected:
    test::GitSandbox sandbox;
    test::FakeGit fake;
};

TEST_F(GitValidatorTest, ARepositoryWithTheBranchIsValid) {
    const std::string repository = sandbox.makeRepository("Acme");
    EXPECT_EQ(validate(repository, "main"), (GitValidationResult{true, repository, "Valid repository"}));
}

TEST_F(GitValidatorTest, ASubdirectoryIsValidAndTheRootIsTheTopLevelDirectory) {
    const std::string repository = sandbox.makeRepository("Acme");
    std::filesystem::create_directories(repository + "/sources/app");
    EXPECT_EQ(validate(repository + "/sources/app", "main"),
              (GitValidationResult{true, repository, "Valid repository"}));
}

TEST_F(GitValidatorTest, AMissingBaseBranchIsInvalidWithTheRootAndGitsOwnWords) {
    const std::string repository = sandbox.makeRepository("Acme", "master");
    EXPECT_EQ(validate(repository, "main"),
              (GitValidationResult{false, repository, "fatal: Needed a single revision"}));
}

TEST_F(GitValidatorTest, WhateverNameResolvesThereIsABaseBranch) {
    const std::string repository = sandbox.makeRepository("Acme");
    sandbox.git(repository, {"tag", "v1"});
    for (const char* name : {"refs/heads/main", "HEAD", "v1"}) {
        EXPECT_EQ(validate(repository, name), (GitValidationResult{true, repository, "Valid repository"}));
    }
}

TEST_F(GitValidatorTest, ARepositoryWithoutAWorkingTreeIsInvalidWithoutARoot) {
    sandbox.git("/", {"init", "--quiet", "--bare", sandbox.path("bare.git")});
    EXPECT_EQ(validate(sandbox.path("bare.git"), "main"),
              (GitValidationResult{false, std::nullopt, "fatal: this operation must be run in a work tree"}));
}

TEST_F(GitValidatorTest, APathThatDoesNotExistIsInvalidWithoutARoot) {
    const GitValidationResult result = validate(sandbox.path("nowhere"), "main");
    EXPECT_FALSE(result.isValid);
    EXPECT_EQ(result.repositoryRoot, std::nullopt);
    EXPECT_THAT(result.message, testing::HasSubstr("cannot change to"));
}

TEST_F(GitValidatorTest, ADirectoryOutsideAnyRepositoryIsInvalidWithoutARoot) {
    std::filesystem::create_directory(sandbox.path("plain"));
    const GitValidationResult result = validate(sandbox.path("plain"), "main");
    EXPECT_FALSE(result.isValid);
    EXPECT_EQ(result.repositoryRoot, std::nullopt);
    EXPECT_THAT(result.message, testing::StartsWith("fatal: not a git repository"));
}

TEST_F(GitValidatorTest, TheBranchIsAskedForExactlyAsConfigured) {
    fake.answer("rev-parse", {0, "/src/Acme"});
    validate("/src/Acme/", "main", fake.runner());
    EXPECT_THAT(fake.commands(), ElementsAre(Arguments{"-C", "/src/Acme/", "rev-parse", "--show-toplevel"},
                                             Arguments{"-C", "/src/Acme/", "rev-parse", "--verify", "main"}));
}

TEST_F(GitValidatorTest, TheRootIsWhatGitPrintedAlsoWhenTheBranchIsUnknown) {
    fake.answer("rev-parse --show-toplevel", {0, "/private/src/Acme"});
    fake.answer("rev-parse --verify", {128, "fatal: unknown"});
    EXPECT_EQ(validate("/src/Acme", "main", fake.runner()),
              (GitValidationResult{false, "/private/src/Acme", "fatal: unknown"}));
    fake.answer("rev-parse --verify", {0, "0f1e2d"});
    EXPECT_EQ(validate("/src/Acme", "main", fake.runner()),
              (GitValidationResult{true, "/private/src/Acme", "Valid repository"}));
}

TEST_F(GitValidatorTest, AWarningIsNoPartOfTheRoot) {
    const std::string repository = sandbox.makeRepository("Acme");
    sandbox.warnAlways(repository);
    EXPECT_EQ(validate(repository, "main"), (GitValidationResult{true, repository, "Valid repository"}));
    EXPECT_EQ(validate(repository, "nope").repositoryRoot, repository);
    EXPECT_THAT(validate(repository, "nope").message, testing::StartsWith("warning: "));
}

TEST_F(GitValidatorTest, AnEmptyPathIsNotTheCallersDirectory) {
    const test::ScopedWorkingDirectory directory(sandbox.makeRepository("Acme"));
    EXPECT_EQ(validate("", "main"),
              (GitValidationResult{false, std::nullopt, "The path of the repository is empty; name one."}));
    validate("", "main", fake.runner());
    EXPECT_TRUE(fake.commands().empty());
}

TEST_F(GitValidatorTest, TheBranchIsNotAskedForWithoutARepository) {
    fake.answer("rev-parse", {128, "fatal: no"});
    EXPECT_EQ(validate("/src/Acme", "main", fake.runner()),
              (GitValidationResult{false, std::nullopt, "fatal: no"}));
    EXPECT_EQ(fake.commands().size(), 1u);
}

}  // namespace
}  // namespace quernlight
