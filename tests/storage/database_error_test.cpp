#include "quernlight/storage/database_error.hpp"

#include <gtest/gtest.h>

namespace quernlight {
namespace {

using Kind = DatabaseError::Kind;

TEST(DatabaseErrorTest, AMissingColumnDescribesItselfByName) {
    const DatabaseError error(Kind::missingColumn, "bug_id");
    EXPECT_EQ(error.errorDescription(), "Missing SQLite column bug_id.");
    EXPECT_EQ(error.text(), "bug_id");
}

TEST(DatabaseErrorTest, EveryOtherKindIsDescribedByTheTextItCarries) {
    for (const Kind kind : {Kind::openFailed, Kind::prepareFailed, Kind::stepFailed, Kind::bindFailed}) {
        EXPECT_EQ(DatabaseError(kind, "database is locked").errorDescription(), "database is locked");
    }
}

TEST(DatabaseErrorTest, IsEqualWhenKindAndTextAre) {
    const DatabaseError error(Kind::stepFailed, "database is locked");
    EXPECT_EQ(error, DatabaseError(Kind::stepFailed, "database is locked"));
    EXPECT_FALSE(error == DatabaseError(Kind::stepFailed, "disk I/O error"));
    EXPECT_FALSE(error == DatabaseError(Kind::prepareFailed, "database is locked"));
}

}  // namespace
}  // namespace quernlight
