#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temporary_directory.hpp"

namespace quernlight {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAreArray;

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
                         testing::Values("README.md", "ARCHITECTURE.md", "docs/library.md",
                                         "docs/sessions.md", "docs/first-hour.md", "docs/watch.md"),
                         [](const auto& document) {
                             std::string name = std::filesystem::path(document.param).stem().string();
                             std::erase(name, '-');
                             return name;
                         });

/// The library's own tools and pieces: no operation of a header in the table asks its caller for them.
const std::set<std::string> internalHeaders{
    "backend/attachment.hpp",
    "backend/backend_requests.hpp",
    "backend/curl_library.hpp",
    "backend/curl_transfer.hpp",
    "backend/exact_json.hpp",
    "backend/http_worker.hpp",
    "backend/json_node.hpp",
    "backend/multipart_form.hpp",
    "backend/secret_library_linux.hpp",
    "dispatch/active_queue.hpp",
    "dispatch/item_transitions.hpp",
    "git/git_environment.hpp",
    "git/repository_git.hpp",
    "platform/async_signal.hpp",
    "platform/available_memory.hpp",
    "platform/background_executor.hpp",
    "platform/child_process.hpp",
    "platform/child_task.hpp",
    "platform/control_characters.hpp",
    "platform/exit_watcher.hpp",
    "platform/file_descriptor.hpp",
    "platform/operation_queue.hpp",
    "platform/peer_user.hpp",
    "platform/process_table.hpp",
    "platform/resident_memory.hpp",
    "platform/shared_library.hpp",
    "platform/spawn.hpp",
    "platform/spawn_session.hpp",
    "platform/text.hpp",
    "queue/queue_rows.hpp",
    "queue/raw_values.hpp",
    "runner/base64.hpp",
    "runner/byte_block.hpp",
    "runner/open_terminal.hpp",
    "runner/plain_text_pass.hpp",
    "runner/recent_output.hpp",
    "runner/session_leader.hpp",
    "runner/session_registry.hpp",
    "runner/terminal_write_queue.hpp",
    "runner/text_search.hpp",
    "runner/utf8_decoding.hpp",
    "storage/attempts_rebuild.hpp",
    "storage/column_values.hpp",
};

std::string libraryHeader(const std::string& name) {
    return test::readFile(root / "quernlight" / name);
}

class LibraryDocumentTest : public testing::Test {
  protected:
    /// By header, what the table's rows name for it.
    std::map<std::string, std::set<std::string>> table() const {
        const std::regex row(R"(\n\|[^|\n]*(\|[^|\n]*\| `[a-z0-9_]+/[a-z0-9_]+\.hpp` \|))");
        std::map<std::string, std::set<std::string>> table;
        for (const std::string& cells : matches(document, row)) {
            auto names = matches(cells, std::regex("`([^`]+)`"));
            const std::string header = names.back();
            names.pop_back();
            table[header].insert(names.begin(), names.end());
        }
        return table;
    }

    const std::string document = test::readFile(root / "docs/library.md");
};

TEST_F(LibraryDocumentTest, ShowsHowAHostIsWiredAndTheRoadOfOneBug) {
    const auto road = codeBlocks(test::readFile(root / "README.md"));
    ASSERT_EQ(road.size(), 1u);
    EXPECT_THAT(codeBlocks(document), ElementsAre(HasSubstr("struct Host"), road.front()));
}

TEST_F(LibraryDocumentTest, NamesForEveryTypeTheHeaderThatDeclaresIt) {
    EXPECT_THAT(table(), Not(IsEmpty()));
    for (const auto& [header, names] : table()) {
        const std::string text = libraryHeader(header);
        for (const std::string& name : names) {
            const std::regex type("(struct|class|using|namespace) (\\w+::)*" + name + "\\b");
            const std::regex function("\n\\w.* " + name + "\\(");
            EXPECT_TRUE(std::regex_search(text, type) || std::regex_search(text, function))
                << header << ": " << name;
        }
    }
}

TEST_F(LibraryDocumentTest, NamesEveryTypeOfItsHeaders) {
    const std::regex declaration(R"(\n(?:struct|class|enum class|using) (\w+)[^;{\n]*[{=])");
    for (const auto& [header, names] : table()) {
        for (const std::string& type : matches(libraryHeader(header), declaration)) {
            EXPECT_TRUE(names.contains(type)) << header << ": " << type;
        }
    }
}

TEST_F(LibraryDocumentTest, EveryHeaderIsInTheTableOrNamedInternal) {
    std::vector<std::string> expected(internalHeaders.begin(), internalHeaders.end());
    for (const auto& [header, names] : table()) {
        expected.push_back(header);
    }
    std::vector<std::string> headers;
    for (const auto& file : std::filesystem::recursive_directory_iterator(root / "quernlight")) {
        const auto path = file.path().lexically_relative(root / "quernlight");
        if (path.extension() == ".hpp" && path.has_parent_path()) {
            headers.push_back(path.string());
        }
    }
    EXPECT_THAT(headers, UnorderedElementsAreArray(expected));
}

}  // namespace
}  // namespace quernlight
