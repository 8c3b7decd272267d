#include "host/process/standard_output.hpp"

#include <sstream>

#include <fcntl.h>
#include <gmock/gmock.h>

#include "host/process/user_error.hpp"
#include "quernlight/platform/file_descriptor.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::host {
namespace {

using testing::HasSubstr;

class StandardOutputTest : public testing::Test {
  protected:
    /// What is said of `text`, printed to the file; empty when all of it was written.
    static std::string complaint(const std::string& file, int mode, const std::string& text) {
        const FileDescriptor descriptor(open(file.c_str(), mode | O_CREAT | O_CLOEXEC, 0600));
        std::ostringstream stream;
        StandardOutput output(descriptor.get(), stream);
        static_cast<std::ostream&>(stream) << text;
        try {
            output.finish();
        } catch (const UserError& error) {
            return error.what();
        }
        return "";
    }

    const quernlight::test::TemporaryDirectory directory;
};

TEST_F(StandardOutputTest, AllThatIsPrintedIsWrittenHoweverLongItIs) {
    const std::string text = std::string(100'000, 'x') + "\nthe end\n";
    EXPECT_EQ(complaint(directory / "file", O_WRONLY, text), "");
    EXPECT_EQ(quernlight::test::readFile(directory / "file"), text);
}

TEST_F(StandardOutputTest, WhatCannotBeWrittenIsAnErrorWithItsCauseHoweverMuchItIs) {
    for (const std::size_t length : {1U, 100'000U}) {
        const std::string text(length, 'x');
        EXPECT_THAT(complaint("/dev/full", O_WRONLY, text),
                    HasSubstr("Standard output cannot be written (No space left on device)"));
        EXPECT_THAT(complaint("/dev/null", O_RDONLY, text), HasSubstr("(Bad file descriptor)"));
    }
}

TEST_F(StandardOutputTest, NothingPrintedNeedsNoPlace) {
    EXPECT_EQ(complaint("/dev/full", O_WRONLY, ""), "");
}

}  // namespace
}  // namespace quernlight::host
