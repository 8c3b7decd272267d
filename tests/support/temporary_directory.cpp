#include "tests/support/temporary_directory.hpp"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <system_error>

#include <gtest/gtest.h>

namespace quernlight::test {

TemporaryDirectory::TemporaryDirectory() {
    std::string name = (std::filesystem::temp_directory_path() / "quernlight-test-XXXXXX").string();
    if (!mkdtemp(name.data())) {
        throw std::system_error(errno, std::generic_category(), "cannot make " + name);
    }
    // The real path, so that what git prints can be compared.
    path_ = std::filesystem::canonical(name);
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string readFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << "cannot read " << path;
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

void writeFile(const std::filesystem::path& path, const std::string& content) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << content;
    EXPECT_TRUE(file.flush()) << "cannot write " << path;
}

}  // namespace quernlight::test
