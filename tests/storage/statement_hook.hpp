#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <utility>

#include <sqlite3.h>

namespace quernlight::test {

/// Calls a function once, before the first statement with a certain beginning that a connection opened during
/// its life runs, on the thread that runs it. At most one at a time; it must outlive those connections.
class StatementHook {
  public:
    StatementHook(std::string beginning, std::function<void()> call)
        : beginning_(std::move(beginning)), call_(std::move(call)) {
        current_ = this;
        sqlite3_auto_extension(reinterpret_cast<void (*)()>(&traceConnection));
    }
    StatementHook(const StatementHook&) = delete;
    StatementHook& operator=(const StatementHook&) = delete;
    ~StatementHook() {
        sqlite3_cancel_auto_extension(reinterpret_cast<void (*)()>(&traceConnection));
        current_ = nullptr;
    }

  private:
    static int traceConnection(sqlite3* connection, char**, const void*) {
        return sqlite3_trace_v2(connection, SQLITE_TRACE_STMT, &look, current_);
    }

    static int look(unsigned, void* hook, void*, void* text) {
        static_cast<StatementHook*>(hook)->callAt(static_cast<const char*>(text));
        return 0;
    }

    void callAt(const std::string& statement) {
        std::function<void()> call;
        if (statement.starts_with(beginning_)) {
            const std::lock_guard lock(mutex_);
            call = std::exchange(call_, nullptr);
        }
        if (call) {
            call();
        }
    }

    inline static StatementHook* current_ = nullptr;

    const std::string beginning_;
    std::mutex mutex_;
    std::function<void()> call_;
};

}  // namespace quernlight::test
