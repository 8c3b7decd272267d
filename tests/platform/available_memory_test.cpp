#include "quernlight/platform/available_memory.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

#include "tests/support/temporary_directory.hpp"

namespace quernlight {
namespace {

using Bytes = std::optional<std::uint64_t>;

constexpr std::uint64_t kibibyte = 1024;

TEST(AvailableMemoryTest, IsSomeOfTheMemoryThatTheMachineHas) {
    const auto installed = static_cast<std::uint64_t>(::sysconf(_SC_PHYS_PAGES)) *
                           static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
    const Bytes available = availableMemory();
    ASSERT_TRUE(available);
    EXPECT_GT(*available, 0U);
    EXPECT_LE(*available, installed);
}

/// The system's files, written by the test; a thousand KiB are available on the machine.
class AvailableMemoryFilesTest : public testing::Test {
  protected:
    AvailableMemoryFilesTest() {
        test::writeFile(root_ / "proc/meminfo",
                        "MemTotal:        4000 kB\nMemFree:          500 kB\nMemAvailable:    1000 kB\n"
                        "HugePages_Total:     0\n");
    }

    void group(const std::string& file, const std::string& content) {
        test::writeFile(root_ / "sys/fs/cgroup" / file, content);
    }

    Bytes available() const { return availableMemoryUnder(root_.path()); }

    test::TemporaryDirectory root_;
};

TEST_F(AvailableMemoryFilesTest, WithoutAControlGroupTheMachinesEstimateCounts) {
    EXPECT_EQ(available(), 1000 * kibibyte);
}

TEST_F(AvailableMemoryFilesTest, AnEstimateThatIsNotThereIsNothing) {
    test::writeFile(root_ / "proc/meminfo", "MemTotal:        4000 kB\nMemFree:          500 kB\n");
    EXPECT_EQ(available(), std::nullopt);
    group("memory.max", "1000000\n");
    group("memory.current", "0\n");
    EXPECT_EQ(available(), std::nullopt);
    std::filesystem::remove(root_ / "proc/meminfo");
    EXPECT_EQ(available(), std::nullopt);
}

TEST_F(AvailableMemoryFilesTest, AGroupCountsWhatItsLimitLeavesWhenThatIsLess) {
    struct Row {
        const char* name;
        const char* limit;
        const char* used;
        const char* statistics;
        std::uint64_t expected;
    };
    const Row rows[] = {
        {"no limit", "max\n", "5000\n", "", 1000 * kibibyte},
        {"a limit beyond the machine", "999999999\n", "0\n", "", 1000 * kibibyte},
        {"a tighter limit", "10000\n", "4000\n", "anon 4000\n", 6000},
        {"pages that can be given back", "10000\n", "4000\n", "anon 1000\ninactive_file 3000\n", 9000},
        {"more to give back than used", "10000\n", "4000\n", "inactive_file 5000\n", 10000},
        {"more used than the limit", "10000\n", "12000\n", "inactive_file 500\n", 0},
    };
    for (const Row& row : rows) {
        group("memory.max", row.limit);
        group("memory.current", row.used);
        group("memory.stat", row.statistics);
        EXPECT_EQ(available(), row.expected) << row.name;
    }
}

TEST_F(AvailableMemoryFilesTest, AGroupThatDoesNotTellWhatItUsesDoesNotCount) {
    group("memory.max", "10\n");
    EXPECT_EQ(available(), 1000 * kibibyte);
}

}  // namespace
}  // namespace quernlight
