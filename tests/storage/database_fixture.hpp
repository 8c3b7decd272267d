#pragma once

#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "quernlight/storage/database.hpp"
#include "quernlight/storage/database_error.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight {

/// How a failing test shows an error or a value.
inline void PrintTo(const DatabaseError& error, std::ostream* out) {
    *out << "DatabaseError " << static_cast<int>(error.kind()) << ": " << error.text();
}

inline void PrintTo(const SQLValue& value, std::ostream* out) {
    switch (value.kind()) {
        case SQLValue::Kind::text:
            *out << '"' << *value.asText() << '"';
            return;
        case SQLValue::Kind::integer:
            *out << *value.asInteger();
            return;
        case SQLValue::Kind::real:
            *out << *value.asReal() << " (real)";
            return;
        case SQLValue::Kind::null:
            *out << "NULL";
            return;
    }
}

namespace test {

/// What `call` throws as a DatabaseError; fails the test when it does not throw one.
template <class Call>
std::optional<DatabaseError> databaseErrorOf(Call call) {
    try {
        call();
    } catch (const DatabaseError& error) {
        return error;
    }
    ADD_FAILURE() << "no DatabaseError was thrown";
    return std::nullopt;
}

/// One database on a real file in a directory of its own.
class DatabaseFixture : public testing::Test {
  protected:
    void execute(const std::string& sql, const SQLValues& values = {}) {
        runTask(database->execute(sql, values));
    }

    std::vector<Row> rows(const std::string& sql, const SQLValues& values = {}) {
        return runTask(database->query(sql, values));
    }

    /// The column "value" of the only row.
    SQLValue value(const std::string& sql, const SQLValues& values = {}) {
        return rows(sql, values).at(0).at("value");
    }

    TemporaryDirectory directory;
    const std::filesystem::path path = directory / "queue.sqlite";
    std::shared_ptr<Database> database = std::make_shared<Database>(path);
};

}  // namespace test
}  // namespace quernlight
