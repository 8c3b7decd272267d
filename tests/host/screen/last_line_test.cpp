#include "host/screen/last_line.hpp"

#include <ostream>

#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

struct Written {
    const char* name;
    const char* text;
    const char* line;
};

void PrintTo(const Written& written, std::ostream* out) {
    *out << written.name;
}

class LastLineTest : public testing::TestWithParam<Written> {};

TEST_P(LastLineTest, IsTheLastThatSaysSomething) {
    EXPECT_EQ(lastReadableLine(GetParam().text), GetParam().line);
}

INSTANTIATE_TEST_SUITE_P(Texts, LastLineTest,
                         testing::Values(Written{"one line", "Reading the report", "Reading the report"},
                                         Written{"several", "Reading\nWriting\n", "Writing"},
                                         Written{"a prompt behind it", "Ran 3 tests\n> ", "Ran 3 tests"},
                                         Written{"a frame around it", "  done  \n+-----+\n", "done"},
                                         Written{"other letters", "готово\n---", "готово"},
                                         Written{"nothing", "", ""}, Written{"a prompt alone", "> ", ""}));

}  // namespace
}  // namespace quernlight::host
