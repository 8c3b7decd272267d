#include <filesystem>
#include <regex>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temporary_directory.hpp"

namespace quernlight {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

const std::filesystem::path root = PROJECT_ROOT;

/// The lines without their indentation, so that code may stand deeper in its source than in a document.
std::string flattened(const std::string& code) {
    std::istringstream lines(code);
    std::string flat;
    for (std::string line; std::getline(lines, line);) {
        flat += line.substr(std::min(line.find_first_not_of(' '), line.size())) + "\n";
    }
    return flat;
}

std::vector<std::string> matches(const std::string& text, const std::regex& pattern) {
    std::vector<std::string> found;
    for (std::sregex_iterator match(text.begin(), text.end(), pattern), end; match != end; ++match) {
        found.push_back(match->str(1));
    }
    return found;
}

std::vector<std::string> codeBlocks(const std::string& document) {
    std::vector<std::string> blocks;
    const std::string fence = "```cpp\n";
    for (auto begin = document.find(fence); begin != std::string::npos; begin = document.find(fence, begin)) {
        begin += fence.size();
        blocks.push_back(document.substr(begin, document.find("```", begin) - begin));
    }
    return blocks;
}

class DocumentTest : public testing::TestWithParam<const char*> {
  protected:
    const std::string document = test::readFile(root / GetParam());
};

TEST_P(DocumentTest, ShowsOnlyCodeThatIsBuilt) {
    const std::string built = flattened(test::readFile(root / "tests/consumer/one_bug.cpp"));
    for (const std::string& block : codeBlocks(document)) {
        EXPECT_THAT(built, HasSubstr(flattened(block)));
    }
}

TEST_P(DocumentTest, LinksToFilesThatAreThere) {
    const auto folder = (root / GetParam()).parent_path();
    for (const std::string& link : matches(document, std::regex(R"(\]\(([^):#]+)\))"))) {
        EXPECT_TRUE(std::filesystem::exists(folder / link)) << link;
    }
}

INSTANTIATE_TEST_SUITE_P(Documents, DocumentTest,
                         testing::Values("README.md", "ARCHITECTURE.md", "docs/library.md"),
                         [](const auto& document) {
                             return std::filesystem::path(document.param).stem().string();
                         });

TEST(LibraryDocumentTest, ShowsCode) {
    EXPECT_EQ(codeBlocks(test::readFile(root / "docs/library.md")).size(), 2u);
    EXPECT_EQ(codeBlocks(test::readFile(root / "README.md")).size(), 1u);
}

TEST(LibraryDocumentTest, NamesForEveryTypeTheHeaderThatDeclaresIt) {
    const std::regex row(R"(\n(\|[^|\n]*\|[^|\n]*\| `[a-z_]+/[a-z_]+\.hpp` \|))");
    const auto rows = matches(test::readFile(root / "docs/library.md"), row);
    EXPECT_THAT(rows, Not(IsEmpty()));
    for (const std::string& line : rows) {
        auto names = matches(line, std::regex("`([^`]+)`"));
        const std::string header = test::readFile(root / "quernlight" / names.back());
        names.pop_back();
        for (const std::string& type : names) {
            const std::regex declaration("(struct|class|using|namespace) (\\w+::)*" + type + "\\b");
            EXPECT_TRUE(std::regex_search(header, declaration)) << line << ": " << type;
        }
    }
}

}  // namespace
}  // namespace quernlight
