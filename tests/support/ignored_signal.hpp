#pragma once

#include <csignal>

namespace quernlight::test {

/// Ignores a signal until the end of the scope, as a parent may have left it to this process.
class IgnoredSignal {
  public:
    explicit IgnoredSignal(int number) : number_(number), before_(std::signal(number, SIG_IGN)) {}
    IgnoredSignal(const IgnoredSignal&) = delete;
    IgnoredSignal& operator=(const IgnoredSignal&) = delete;
    ~IgnoredSignal() { std::signal(number_, before_); }

  private:
    int number_;
    void (*before_)(int);
};

}  // namespace quernlight::test
