#include "host/terminal/shown_session.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

/// A session of 20 columns and 5 rows, and a person's terminal that looks at it.
class ShownSessionTest : public testing::Test {
  protected:
    void look(TerminalSize own) {
        terminal.emplace(own.columns, own.rows);
        terminal->write("$ attach\r\n");
        shown.emplace(own);
        const ScreenPainting painting = session.painting();
        terminal->write(
            shown->picture(painting.size, painting.scrollBack.size(), painting.scrollBack + painting.screen));
    }
    void writes(const std::string& bytes) {
        session.write(bytes);
        terminal->write(shown->output(bytes));
    }
    std::vector<std::string> lines() const { return terminal->picture().lines; }

    ScreenModel session{20, 5};
    std::optional<ScreenModel> terminal;
    std::optional<ShownSession> shown;
};

TEST_F(ShownSessionTest, ATerminalOfTheSameSizeShowsItAllBelowWhatItShowed) {
    session.write("1\r\n2\r\n3\r\n4\r\n5\r\n6");
    look({.columns = 20, .rows = 5});
    EXPECT_THAT(lines(), ElementsAre("2", "3", "4", "5", "6"));
    EXPECT_THAT(terminal->scrollBack(), ElementsAre("$ attach", "", "", "", "", "1"));
    writes("\r\n\x1b[1mseven");
    EXPECT_EQ(terminal->painting().screen, session.painting().screen);
}

TEST_F(ShownSessionTest, ALargerTerminalShowsItAtItsTop) {
    session.write("text");
    look({.columns = 30, .rows = 7});
    writes("\x1b[5;1Hlast");
    EXPECT_THAT(lines(), ElementsAre("text", "", "", "", "last", "", ""));
}

TEST_F(ShownSessionTest, ASmallerTerminalShowsWhatThereIsRoomForWithTheCursor) {
    session.write(
        "\x1b[31m0123456789abcdefghij\r\n\xe6\xbc\xa2\xe6\xbc\xa2\xe6\xbc\xa2\xe6\xbc\xa2\r\nthree");
    look({.columns = 7, .rows = 2});
    EXPECT_THAT(lines(), ElementsAre("\xe6\xbc\xa2\xe6\xbc\xa2\xe6\xbc\xa2", "three"));
    EXPECT_THAT(terminal->painting().screen, HasSubstr("\x1b[0;31mthree"));
    writes("\x1b[1;19H\x1b[?25l\x1b[?2004h");
    EXPECT_THAT(lines(), ElementsAre("0123456", "\xe6\xbc\xa2\xe6\xbc\xa2\xe6\xbc\xa2"));
    EXPECT_EQ(terminal->picture().cursorColumn, 6);
    EXPECT_FALSE(terminal->picture().cursorShown);
    EXPECT_TRUE(terminal->picture().bracketedPaste);
}

TEST_F(ShownSessionTest, EachMayComeToBeTheLarger) {
    session.write("0123456789abcdefghij");
    look({.columns = 10, .rows = 5});
    terminal->resize(20, 5);
    terminal->write(shown->ownResized({.columns = 20, .rows = 5}));
    EXPECT_EQ(terminal->painting().screen, session.painting().screen);
    session.resize(25, 5);
    session.write("\x1b[1;21Hklmno");
    terminal->write(shown->sessionResized({.columns = 25, .rows = 5}));
    terminal->write(shown->output("\x1b[1;21Hklmno"));
    EXPECT_EQ(lines().at(0), "0123456789abcdefghij");
    terminal->write(shown->sessionResized({.columns = 20, .rows = 5}));
    writes("\x1b[2;1Hback");
    EXPECT_EQ(lines().at(1), "back");
}

TEST_F(ShownSessionTest, AFreshPictureComesOverWhatIsShown) {
    session.write("1\r\n2\r\n3\r\n4\r\n5\r\n6");
    look({.columns = 20, .rows = 5});
    const auto before = terminal->scrollBack();
    session.write("\x1b[2J\x1b[Hnew");
    const ScreenPainting painting = session.painting();
    terminal->write(
        shown->picture(painting.size, painting.scrollBack.size(), painting.scrollBack + painting.screen));
    EXPECT_EQ(terminal->painting().screen, session.painting().screen);
    EXPECT_EQ(terminal->scrollBack(), before);
}

TEST_F(ShownSessionTest, NothingIsPutBackWhereNothingWasShown) {
    EXPECT_EQ(ShownSession({.columns = 20, .rows = 5}).undone(), "");
}

}  // namespace
}  // namespace quernlight::host
