#include "host/terminal/typed_text.hpp"

#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

TEST(TypedTextTest, OnlyWhatWasAskedForIsTyped) {
    const struct {
        const char* name;
        TypedText typed;
        bool takesPastes;
        std::string keys;
    } rows[] = {
        {"plain", {.text = "yes, do"}, true, "yes, do"},
        {"nothing", {}, true, ""},
        {"controls become blanks", {.text = "a\x03\x1b[201~b"}, true, "a  [201~b"},
        {"lines are pasted", {.text = "a\nb"}, true, "\x1b[200~a\nb\x1b[201~"},
        {"where nothing is pasted they are one line", {.text = "a\r\nb\n"}, false, "a b "},
        {"raw is as it is", {.text = "\x1b[A\x03", .isRaw = true}, true, "\x1b[A\x03"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(keysOf(row.typed, row.takesPastes), row.keys) << row.name;
    }
}

}  // namespace
}  // namespace quernlight::host
