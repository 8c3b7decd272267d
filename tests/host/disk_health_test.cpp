#include "host/disk_health.hpp"

#include <stdexcept>
#include <vector>

#include <gmock/gmock.h>

namespace quernlight::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class DiskHealthTest : public testing::Test {
  protected:
    void fails(const char* who) {
        health_.failed(who, "queue", std::runtime_error("database or disk is full"));
    }

    std::vector<std::string> news_;
    DiskHealth health_{[this](const std::string& trouble) { news_.push_back(trouble); }};
};

TEST_F(DiskHealthTest, IsWellUntilAWriteFails) {
    health_.succeeded("intake");
    EXPECT_THAT(news_, IsEmpty());
}

TEST_F(DiskHealthTest, TellsOnceWhenWritesFail) {
    fails("intake");
    fails("settling");
    fails("intake");
    EXPECT_THAT(
        news_,
        ElementsAre("The queue cannot be read or written at the moment (database or disk is full); "
                    "sessions go on, and it is tried again. Free some disk space if the disk is full."));
}

TEST_F(DiskHealthTest, IsWellAgainOnlyWhenAllWhoFailedHaveSucceeded) {
    fails("intake");
    fails("settling");
    health_.succeeded("events");
    health_.succeeded("intake");
    EXPECT_THAT(news_, SizeIs(1));
    health_.succeeded("settling");
    EXPECT_THAT(news_, SizeIs(2));
    EXPECT_EQ(news_.back(), "");
}

TEST_F(DiskHealthTest, TellsTheNextTimeToo) {
    fails("intake");
    health_.succeeded("intake");
    fails("intake");
    EXPECT_THAT(news_, SizeIs(3));
}

}  // namespace
}  // namespace quernlight::host
