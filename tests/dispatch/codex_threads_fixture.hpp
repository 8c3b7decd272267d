#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "quernlight/dispatch/codex_session_resolver.hpp"
#include "quernlight/storage/connection.hpp"
#include "quernlight/storage/database_error.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight {

/// A state database with the agent's threads; times are seconds since the run's start.
class CodexThreadsFixture : public testing::Test {
  protected:
    static constexpr std::int64_t runStart = 1'772'600'000;  // seconds since the epoch

    static std::string threadID(int number) {
        return "0190a000-0000-7000-8000-00000000000" + std::to_string(number);
    }

    struct Thread {
        std::string id = threadID(1);
        std::string cwd = "/work tree/it's";
        std::string source = "cli";
        std::int64_t createdAt = 0;
        std::int64_t updatedAt = 0;
    };

    void createTable() {
        connection().execute(
            "CREATE TABLE threads (id TEXT, cwd TEXT, title TEXT, source TEXT,"
            " created_at INTEGER, updated_at INTEGER)");
    }

    void add(const Thread& thread) {
        connection().execute(
            "INSERT INTO threads VALUES (?, ?, 'Fix it', ?, ?, ?)",
            {SQLValue::text(thread.id), SQLValue::text(thread.cwd), SQLValue::text(thread.source),
             SQLValue::integer(runStart + thread.createdAt), SQLValue::integer(runStart + thread.updatedAt)});
    }

    Connection connection() const { return Connection(path_); }

    std::optional<CodexSessionRecord> latest(std::chrono::milliseconds sinceStart = {}) const {
        return CodexSessionResolver::latest("/work tree/it's",
                                            Instant(std::chrono::seconds(runStart)) + sinceStart, path_);
    }

    std::string latestID(std::chrono::milliseconds sinceStart = {}) const {
        const auto record = latest(sinceStart);
        return record ? lowerCaseText(record->id) : "none";
    }

    /// The error that reading ends with.
    DatabaseError failure() const {
        try {
            latest();
        } catch (const DatabaseError& error) {
            return error;
        }
        ADD_FAILURE() << "reading did not fail";
        return {DatabaseError::Kind::missingColumn, "none"};
    }

    test::TemporaryDirectory directory_;
    std::filesystem::path path_ = directory_ / "state_5.sqlite";
};

}  // namespace quernlight
