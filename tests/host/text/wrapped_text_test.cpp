#include "host/text/wrapped_text.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/text/terminal_text.hpp"

namespace quernlight::host {
namespace {

using Lines = std::vector<std::string>;

TEST(WrappedTextTest, ALineThatIsTooLongGoesOnInTheNextOne) {
    struct Row {
        const char* name;
        std::string text;
        std::size_t columns, most;
        Lines lines;
    };
    constexpr std::size_t any = 99;
    const Row rows[] = {
        {"it fits", "one two", 7, any, {"one two"}},
        {"at a blank", "one two three", 7, any, {"one two", "three"}},
        {"behind a blank", "one two three", 9, any, {"one two ", "three"}},
        {"a long word", "abcdefghij", 4, any, {"abcd", "efgh", "ij"}},
        {"no half line is left empty", "a bcdefghij", 6, any, {"a bcde", "fghij"}},
        {"its own line ends", "one\n\ntwo\r\n", 9, any, {"one", "", "two"}},
        {"what is indented stays so", "    one two", 9, any, {"    one ", "two"}},
        {"wide characters", "漢字仮名", 5, any, {"漢字", "仮名"}},
        {"a wide one in one column", "漢字", 1, any, {"漢", "字"}},
        {"marks stay with their letter", "ae\u0301b", 2, any, {"ae\u0301", "b"}},
        {"acting characters", "a\x1b\x07 b\tc", 9, any, {"a  b c"}},
        {"no more than wanted", "one two three four", 5, 2, {"one ", "two …"}},
        {"nothing", "", 5, any, {""}},
        {"no line", "one", 5, 0, {}},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(wrapped(row.text, row.columns, row.most), row.lines) << row.name;
    }
}

}  // namespace
}  // namespace quernlight::host
