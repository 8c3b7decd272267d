#include "host/service/settings_text.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/process/user_error.hpp"

namespace quernlight::host {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

/// Where two are set, one of them to what does not fit on a line.
SettingList settings() {
    StoredSettings stored;
    stored.set = {{"sessions.max", "4"}, {"backend.url", "https://bugs.example"}};
    SettingList list = settingList(stored);
    for (SettingValue& value : list.values) {
        const auto set = stored.set.find(value.key);
        value.text = set == stored.set.end() ? value.text : set->second;
        if (value.key == "notify.command") {
            value.isSet = true;
            value.text = "tell a\nb";
        }
    }
    return list;
}

std::string changesOf(const EditedSettings& edited) {
    std::string text;
    for (const SettingChange& change : edited.changes) {
        text += change.key + "=" + change.text.value_or("(default)") + ";";
    }
    return text;
}

struct Row {
    const char* name;
    const char* text;
    const char* changes;
};

TEST(SettingsTextTest, LinesAreComparedWithWhatIsSet) {
    const std::vector<Row> rows{
        {"the same", "sessions.max 4\nbackend.url https://bugs.example\n", ""},
        {"another value", "sessions.max 5\nbackend.url https://bugs.example\n", "sessions.max=5;"},
        {"a new line", "intake.per_day 7\nsessions.max 4\nbackend.url https://bugs.example",
         "intake.per_day=7;"},
        {"a line taken out", "backend.url https://bugs.example\n", "sessions.max=(default);"},
        {"a default that is set", "sessions.max 4\nbackend.url https://bugs.example\nintake.per_day 20\n",
         "intake.per_day=20;"},
        {"blanks and comments", "\n  # what\n\t sessions.max \t 4  \r\nbackend.url https://bugs.example\n",
         ""},
        {"words", "sessions.max 4\nbackend.url https://bugs.example\nnotify.command say \"a b\"\n",
         "notify.command=say \"a b\";"},
        {"no setting", "# all of them\n", "backend.url=(default);sessions.max=(default);"},
        {"nothing", " \n", ""},
    };
    for (const Row& row : rows) {
        const EditedSettings edited = readSettingsText(row.text, settings());
        EXPECT_THAT(edited.troubles, IsEmpty()) << row.name;
        EXPECT_EQ(changesOf(edited), row.changes) << row.name;
    }
}

TEST(SettingsTextTest, LinesThatCannotBeMeantAreToldWithTheirNumber) {
    const EditedSettings edited = readSettingsText(
        "# first\nsessions.mix 4\nsessions.max lots\n\nsessions.max 3\nsessions.max 4\n", settings());
    EXPECT_THAT(edited.troubles,
                ElementsAre(AllOf(HasSubstr("Line 2: "), HasSubstr("sessions.max")),
                            HasSubstr("Line 3: sessions.max must be a whole number from 1 to 64"),
                            "Line 6: sessions.max is there twice."));
}

TEST(SettingsTextTest, WhatIsOfferedReadsAsNoChange) {
    const std::string text = settingsText(settings());
    EXPECT_THAT(text,
                AllOf(HasSubstr("\nsessions.max 4\n"), HasSubstr("\n# intake.per_day 20\n"),
                      HasSubstr("# notify.command is set to what does not fit on a line; it stays so\n"),
                      Not(HasSubstr("\nb\n"))));
    const EditedSettings edited = readSettingsText(text, settings());
    EXPECT_EQ(changesOf(edited), "");
    EXPECT_THAT(edited.troubles, IsEmpty());
}

struct EditorRow {
    EnvironmentMap environment;
    std::vector<std::string> words;
};

TEST(SettingsTextTest, TheEditorIsThatOfThePerson) {
    const std::vector<EditorRow> rows{
        {{}, {"vi"}},
        {{{"EDITOR", "nano"}}, {"nano"}},
        {{{"EDITOR", "nano"}, {"VISUAL", "code --wait"}}, {"code", "--wait"}},
        {{{"EDITOR", "nano"}, {"VISUAL", " "}}, {"nano"}},
        {{{"EDITOR", "\"/my tools/ed\" $(x)"}}, {"/my tools/ed", "$(x)"}},
    };
    for (const EditorRow& row : rows) {
        EXPECT_EQ(editorWords(row.environment), row.words);
    }
    EXPECT_THROW(editorWords({{"EDITOR", "\"open"}}), UserError);
}

}  // namespace
}  // namespace quernlight::host
