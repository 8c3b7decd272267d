#include "tests/agents/file_watch.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temporary_directory.hpp"

namespace quernlight {
namespace {

using test::writeFile;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(FileWatchTest, AFileIsNamedWheneverItHasChangedAndHoldsTheText) {
    const test::TemporaryDirectory directory;
    const auto file = directory / "a/b";
    std::filesystem::create_directory(directory / "a");
    test::FileWatch watch("secret", directory.path());
    writeFile(file, "nothing");
    EXPECT_THAT(watch.look(), IsEmpty());
    writeFile(file, std::string(100'000, 's') + "ecret!");
    EXPECT_THAT(watch.look(), ElementsAre(file));
    EXPECT_THAT(watch.look(), IsEmpty());
    std::filesystem::remove_all(directory / "a");
    EXPECT_THAT(watch.look(), IsEmpty());
}

}  // namespace
}  // namespace quernlight
