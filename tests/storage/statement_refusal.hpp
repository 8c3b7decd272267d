#pragma once

#include <string>
#include <string_view>
#include <utility>

#include <sqlite3.h>

namespace quernlight::test {

/// Makes connections opened during its life refuse a statement, so that it fails to compile with "not
/// authorized". At most one at a time; it must outlive those connections.
class StatementRefusal {
  public:
    StatementRefusal() {
        current_ = this;
        sqlite3_auto_extension(reinterpret_cast<void (*)()>(&authorizeConnection));
    }
    StatementRefusal(const StatementRefusal&) = delete;
    StatementRefusal& operator=(const StatementRefusal&) = delete;
    ~StatementRefusal() {
        sqlite3_cancel_auto_extension(reinterpret_cast<void (*)()>(&authorizeConnection));
        current_ = nullptr;
    }

    /// From now on, of the statements that would do `action` (SQLite's code for the authorizer) with a table
    /// or setting called `name`, lets `skipped` pass and refuses the next `times`.
    void refuse(int action, std::string name, int skipped = 0, int times = 1) {
        action_ = action;
        name_ = std::move(name);
        skipped_ = skipped;
        times_ = times;
    }

  private:
    static int authorizeConnection(sqlite3* connection, char**, const void*) {
        return sqlite3_set_authorizer(connection, &authorize, current_);
    }

    static int authorize(void* refusal, int action, const char* first, const char* second, const char*,
                         const char*) {
        return static_cast<StatementRefusal*>(refusal)->answer(action, first, second);
    }

    int answer(int action, const char* first, const char* second) {
        // The table is the second argument when the first names a database.
        const char* name = action == SQLITE_ALTER_TABLE ? second : first;
        if (action != action_ || !name || name_ != name || times_ == 0) {
            return SQLITE_OK;
        }
        if (skipped_ > 0) {
            --skipped_;
            return SQLITE_OK;
        }
        --times_;
        return SQLITE_DENY;
    }

    inline static StatementRefusal* current_ = nullptr;

    int action_ = 0;
    std::string name_;
    int skipped_ = 0;
    int times_ = 0;
};

}  // namespace quernlight::test
