#include "host/screen/agent_activity.hpp"

#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/agent/agent_reading.hpp"
#include "host/screen/composer.hpp"
#include "tests/host/screen/recordings.hpp"

namespace quernlight::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

/// What a recorded screen says; of the recordings of all releases.
struct Recorded {
    std::string name;
    AgentState state;
    std::optional<DialogKind> dialog;
    std::optional<std::string> composer;  // the beginning of its text
};

const std::string goal =
    "/goal Fix the bug in a.txt. It says x where y is wanted, and this line is long enough to be "
    "wrapped on a hundred columns, I think.";

std::vector<Recorded> recordedScreens() {
    using enum AgentState;
    std::vector<Recorded> rows;
    for (const std::string release : {"-0.145.0", "-0.169.0"}) {
        const auto add = [&](const std::string& name, AgentState state, std::optional<DialogKind> dialog,
                             std::optional<std::string> composer) {
            rows.push_back({name + release, state, dialog, std::move(composer)});
        };
        add("trust", dialog, DialogKind::trust, {});
        add("login", dialog, DialogKind::login, {});
        add("update", dialog, DialogKind::update, {});
        add("approval", dialog, DialogKind::approval, {});
        add("replace-goal", dialog, DialogKind::replaceGoal, {});
        add("resume-goal", dialog, DialogKind::resumeGoal, {});
        add("limit-question", dialog, DialogKind::usageLimit, {});
        add("question", dialog, DialogKind::unknown, {});
        add("question-noted", dialog, DialogKind::unknown, {});
        add("question-in-title", dialog, DialogKind::unknown, {});
        add("answer-field", dialog, DialogKind::unknown, {});
        add("answer-typed", dialog, DialogKind::unknown, {});
        add("starting", starting, {}, "");
        add("idle", idle, {}, "");
        add("goal-command", idle, {}, "/goal");
        add("goal-offered", idle, {}, "/goal");
        add("goal-typed", idle, {}, goal);
        add("long-typed", idle, {}, release == "-0.145.0" ? "Paragraph 6" : "a/line/of/the/terminal");
        add("list-typed", idle, {}, "1. First");
        add("list-sent", idle, {}, "");
        add("pasted", idle, {}, "[Pasted Content 1500 chars]");
        add("ultra-typed", idle, {}, "hello");
        add("alternate-typed", idle, {}, "do it with 日本 and e");
        add("working", working, {}, "");
        add("working-typed", working, {}, "hold on");
        add("working-untitled", working, {}, "");
        add("usage-limit", idle, {}, "");
        add("denied", idle, {}, "");
        add("exit-typed", idle, {}, "/exit");
        add("exited", unknown, {}, {});
    }
    return rows;
}

class RecordedScreenTest : public testing::TestWithParam<Recorded> {};

TEST_P(RecordedScreenTest, IsRead) {
    const ScreenPicture picture = recordedScreen(GetParam().name);
    const AgentActivity activity = agentActivity(picture);
    EXPECT_EQ(activity.state, GetParam().state) << activity.rule << ": " << activity.reason;
    const auto kind = activity.dialog ? std::optional(activity.dialog->kind) : std::nullopt;
    EXPECT_EQ(kind, GetParam().dialog) << activity.reason;
    const auto text = composerText(picture);
    EXPECT_EQ(text.has_value(), GetParam().composer.has_value());
    EXPECT_THAT(text.value_or(""), StartsWith(GetParam().composer.value_or("")));
    EXPECT_EQ(text.value_or("").empty(), GetParam().composer.value_or("").empty());
}

INSTANTIATE_TEST_SUITE_P(All, RecordedScreenTest, testing::ValuesIn(recordedScreens()),
                         [](const auto& row) { return testName(row.param.name); });

TEST(OfferedCommandTest, IsListedWithWhatItDoesOnceItIsTyped) {
    for (const std::string release : {"-0.145.0", "-0.169.0"}) {
        EXPECT_TRUE(readAgent(recordedScreen("goal-offered" + release)).offers("/goal")) << release;
        EXPECT_FALSE(readAgent(recordedScreen("goal-command" + release)).offers("/goal")) << release;
    }
}

/// A screen with the cursor behind a typed "/goal", and whether it offers or denies that command.
struct CommandScreen {
    std::string name;
    std::vector<std::string> lines;
    int row;  // of the composer
    bool offers = false;
    bool denies = false;
};

void PrintTo(const CommandScreen& row, std::ostream* out) {
    *out << row.name;
}

class TypedCommandTest : public testing::TestWithParam<CommandScreen> {};

TEST_P(TypedCommandTest, IsOfferedInAListAndDeniedInASentence) {
    const CommandScreen& row = GetParam();
    const AgentReading reading = readAgent(screenOf(row.lines, row.row, 7));
    ASSERT_TRUE(reading.hasTyped("/goal"));
    EXPECT_EQ(reading.offers("/goal"), row.offers);
    EXPECT_EQ(reading.denies("/goal"), row.denies);
}

const std::string typed = "\u203A /goal";
const std::string unknown = "\u2022 Unrecognized command '/goal'. Type \"/\" for a list.";

INSTANTIATE_TEST_SUITE_P(
    Rows, TypedCommandTest,
    testing::Values(
        CommandScreen{"nothing but the command", {"Hello", "", typed, "", "  a model"}, 2},
        CommandScreen{"below, behind two blanks", {typed, "", "  /goal  set a goal"}, 0, true},
        CommandScreen{"below, behind one blank", {typed, "", "  /goal set a goal"}, 0, true},
        CommandScreen{"below, what it does beneath", {typed, "", "  /goal", "    set a goal"}, 0, true},
        CommandScreen{"below, as a mark's", {typed, "", "> /goal - set a goal"}, 0, true},
        CommandScreen{"below, in a box", {typed, "", "+------+", "| /goal |", "+------+"}, 0, true},
        CommandScreen{"right above", {"Hello", "", "  /goal set a goal", typed}, 3, true},
        CommandScreen{"above, among others", {"Hi", "", "  /goal set", "  /goals list", "", typed}, 5, true},
        CommandScreen{"in what was said", {"> /goal Fix it.", "", "Done.", "", typed}, 4},
        CommandScreen{"another command", {typed, "", "  /goals  list them"}, 0},
        CommandScreen{"in a sentence", {typed, "", "  Goal paused (/goal resume)"}, 0},
        CommandScreen{"unknown", {unknown, "", typed}, 2, false, true},
        CommandScreen{"unknown, with a colon", {"\u25A0 Unknown command: /goal", "", typed}, 2, false, true},
        CommandScreen{"another unknown", {"\u25A0 Unknown command: /plan", "", typed}, 2},
        CommandScreen{"spoken of", {"It said: unknown command /goal", "", typed}, 2}));

TEST(RecordedScreenTableTest, NamesEveryRecording) {
    std::vector<std::string> named;
    for (const Recorded& row : recordedScreens()) {
        named.push_back(row.name);
    }
    EXPECT_THAT(recordingNames(), testing::UnorderedElementsAreArray(named));
}

TEST(RecordedScreenTableTest, HasOneForEveryRuleAndEveryKindOfDialog) {
    std::set<std::string> rules;
    std::set<DialogKind> kinds;
    for (const std::string& name : recordingNames()) {
        const AgentActivity activity = agentActivity(recordedScreen(name));
        rules.insert(std::string(activity.rule) + ": ");
        kinds.insert(activity.dialog ? activity.dialog->kind : DialogKind::unknown);
    }
    for (const std::string& line : explainActivity(screenOf({}))) {
        EXPECT_TRUE(rules.contains(line.substr(0, line.find(": ") + 2))) << line;
    }
    EXPECT_EQ(kinds.size(), 8U);
}

TEST(RecordedQuestionTest, IsWhatAPersonIsAsked) {
    const std::pair<std::string, std::string> questions[] = {
        {"question", "Which colour should the button have?"},
        {"question-noted", "Which colour should the button have?"},
        {"question-in-title", "How should the file be named? Name The file's name"},
        {"answer-field", "How should the file be named? Name The file's name"},
        {"answer-typed", "How should the file be named? Name The file's name"},
        {"limit-question", "for lower credit usage?"},
        {"approval", "$ touch /etc/probe"}};
    for (const std::string release : {"-0.145.0", "-0.169.0"}) {
        for (const auto& [name, question] : questions) {
            const AgentActivity activity = agentActivity(recordedScreen(name + release));
            EXPECT_THAT(activity.dialog.value().question, HasSubstr(question)) << name << release;
        }
    }
}

/// A screen of lines, and what is said of it.
struct Screen {
    std::string name;
    ScreenPicture picture;
    AgentState state;
    std::string_view rule;
};

std::vector<Screen> screens() {
    using enum AgentState;
    const auto titled = [](ScreenPicture picture, std::string title) {
        picture.title = std::move(title);
        return picture;
    };
    const std::vector<std::string> options{"Shall it be?", "", "› 1. Yes", "  2. No"};
    const ScreenPicture untitled = screenOf({"› ", "", "  hints"}, 0, 2), composer = titled(untitled, "app");
    return {
        {"ABlankScreen", screenOf({}), unknown, "none"},
        {"TextAlone", screenOf({"Hello"}), unknown, "none"},
        {"AComposer", composer, idle, "composer"},
        {"AComposerWithoutATitle", untitled, starting, "no title yet"},
        {"APromptWithoutACursor", screenOf({"› "}), unknown, "none"},
        {"AShell", screenOf({"$ "}, 0, 2), unknown, "none"},
        {"AnEndedAgentsScreen", screenOf({"› old", "", "Bye"}, 3, 0), unknown, "none"},
        {"Options", screenOf(options), dialog, "options"},
        {"OptionsAboveWorking", titled(screenOf(options), "⠋ app"), dialog, "options"},
        {"ATitleThatAsks", titled(composer, "[ ! ] Action Required | app"), dialog, "title that asks"},
        {"ASpinnerAboveAComposer", titled(composer, "⠋ app"), working, "spinner in the title"},
        {"AHintHowToInterrupt", screenOf({"• Working (2s • ESC to interrupt)", "", "› "}, 2, 2), working,
         "hint how to interrupt"},
        {"ALoadingAgent", titled(screenOf({"  Agent", "  loading", "", "› "}, 3, 2), "app"), starting,
         "loading"},
        {"ALoadingModel", titled(screenOf({"│ model:  loading   /model │", "", "› "}, 2, 2), "app"), starting,
         "loading"},
        {"TextAboutLoading", titled(screenOf({"  loading takes long", "", "› "}, 2, 2), "app"), idle,
         "composer"},
        {"TextInTheComposerThatLooksSo",
         titled(screenOf({"› esc to interrupt", "  loading  it"}, 1, 5), "app"), idle, "composer"},
        {"OneOptionAlone", screenOf({"› 1. Yes"}), unknown, "none"},
        {"AListInTheComposer", titled(screenOf({"› 1. Yes", "  2. No"}, 1, 7), "app"), idle, "composer"},
        {"AListThatWasSent", titled(screenOf({"› 1. Yes", "  2. No", "", "› "}, 3, 2), "app"), idle,
         "composer"},
        {"AListThatWasSentUnderAHiddenCursor", screenOf({"› 1. Yes", "  2. No", "", "› "}), unknown, "none"},
        {"AListInAnAnswer", titled(screenOf({"• 1. Yes", "  2. No", "", "› "}, 3, 2), "app"), idle,
         "composer"},
        {"TheSecondOptionSelected", screenOf({"  1. Yes", "", "› 2. No"}), dialog, "options"},
        {"OptionsFarApart", screenOf({"> 1. Yes", "     why", "", "  2. No", "     why"}), dialog, "options"},
        {"OptionsInABoxOverTheComposer",
         screenOf({"› Ask", "  model  Well?", "       › 1. Yes", "  hin    2. No"}), dialog, "options"},
    };
}

class ScreenTest : public testing::TestWithParam<Screen> {};

TEST_P(ScreenTest, IsReadByTheFirstRuleThatApplies) {
    const AgentActivity activity = agentActivity(GetParam().picture);
    EXPECT_EQ(activity.state, GetParam().state) << activity.reason;
    EXPECT_EQ(activity.rule, GetParam().rule) << activity.reason;
}

INSTANTIATE_TEST_SUITE_P(Rows, ScreenTest, testing::ValuesIn(screens()),
                         [](const auto& row) { return row.param.name; });

TEST(AgentActivityTest, EveryRuleSaysWhatItSees) {
    EXPECT_THAT(explainActivity(recordedScreen("working-typed-0.169.0")),
                ElementsAre("options: no", "title that asks: no", "answer field: no",
                            "spinner in the title: title \"⠏ app\"", HasSubstr("esc to interrupt"),
                            "loading: no", "no title yet: no", "composer: row 17, with text"));
}

TEST(LastNoticeTest, SaysWhatWentWrong) {
    EXPECT_THAT(lastNotice(recordedScreen("denied-0.169.0")).value(),
                StartsWith("unexpected status 401 Unauthorized"));
    EXPECT_EQ(lastNotice(screenOf({"■ It broke", "into two.", "", "• But went on", "", "› "}, 5, 2)),
              std::nullopt);
    EXPECT_EQ(lastNotice(screenOf({"■ It broke", "into two.", "", "› "}, 3, 2)), "It broke into two.");
    EXPECT_EQ(lastNotice(screenOf({})), std::nullopt);
}

}  // namespace
}  // namespace quernlight::host
