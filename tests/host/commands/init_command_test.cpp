#include <boost/json/parse.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/dispatch_fixture.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight {
namespace {

using testing::HasSubstr;

class InitCommandTest : public test::DispatchFixture {
  protected:
    test::Outcome init() { return dispatch({"init", "--home", home()}); }
    std::filesystem::path instruction(const char* name) const { return home() / "instructions" / name; }
};

TEST_F(InitCommandTest, MakesAHomeThatTheOtherCommandsFind) {
    const auto made = init();
    EXPECT_EQ(made.exitCode, 0) << made.error;
    EXPECT_THAT(made.output, HasSubstr(instruction("completion.md").string() + "\n      what to report"));
    EXPECT_THAT(made.output, HasSubstr("config set backend.url URL\n      quernlight-dispatch token set\n"));
    EXPECT_THAT(test::readFile(instruction("investigation.md")), HasSubstr("get_bug"));
    EXPECT_EQ(dispatch({"queue", "list", "--home", home()}).exitCode, 0);
}

TEST_F(InitCommandTest, LeavesWhatAPersonWroteAsItIs) {
    test::writeFile(instruction("completion.md"), "Report in verse.\n");
    EXPECT_THAT(init().output, HasSubstr("how (left as it was)"));
    EXPECT_EQ(test::readFile(instruction("completion.md")), "Report in verse.\n");
    EXPECT_TRUE(std::filesystem::exists(instruction("reproduction.md")));
}

TEST_F(InitCommandTest, TellsProgramsWhatItMade) {
    const auto made = dispatch({"init", "--json", "--home", home()});
    const auto told = boost::json::parse(made.output).as_object();
    EXPECT_EQ(told.at("home").as_string(), home().string());
    EXPECT_EQ(told.at("instructions").as_array().size(), 3U);
    EXPECT_EQ(told.at("instructions").at(0).at("new"), true);
}

}  // namespace
}  // namespace quernlight
