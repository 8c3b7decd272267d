#include "host/agent/instruction_files.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/process/user_error.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::host {
namespace {

using testing::HasSubstr;

class InstructionFilesTest : public testing::Test {
  protected:
    InstructionFiles prepare() const { return InstructionFiles::prepare(home.path()); }

    test::TemporaryDirectory home;
};

TEST_F(InstructionFilesTest, MissingOnesAreWrittenWithTheirDefaults) {
    const InstructionFiles files = prepare();
    EXPECT_EQ(files.investigation, home / "instructions/investigation.md");
    EXPECT_EQ(files.reproduction, home / "instructions/reproduction.md");
    EXPECT_EQ(files.completion, home / "instructions/completion.md");
    EXPECT_THAT(test::readFile(files.investigation), HasSubstr("# How to investigate a bug\n"));
    EXPECT_THAT(test::readFile(files.reproduction), HasSubstr("# How to reproduce a bug\n"));
    for (const char* member : {"queue_item_id", "session_id", "in_review", "investigate"}) {
        EXPECT_THAT(test::readFile(files.completion), HasSubstr(member));
    }
}

TEST_F(InstructionFilesTest, WhatTheUserWroteIsNeverOverwritten) {
    test::writeFile(home / "instructions/completion.md", "My own words.\n");
    test::writeFile(home / "instructions/reproduction.md", "");
    prepare();
    EXPECT_EQ(test::readFile(home / "instructions/completion.md"), "My own words.\n");
    EXPECT_EQ(test::readFile(home / "instructions/reproduction.md"), "");
    EXPECT_NE(test::readFile(home / "instructions/investigation.md"), "");
}

TEST_F(InstructionFilesTest, WhatCannotBeWrittenIsToldByItsName) {
    test::writeFile(home / "instructions", "a file in the way");
    EXPECT_THAT([&] { prepare(); }, testing::ThrowsMessage<UserError>(
                                        HasSubstr("/instructions/investigation.md cannot be written")));
}

}  // namespace
}  // namespace quernlight::host
