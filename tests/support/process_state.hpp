#pragma once

#include <csignal>
#include <cstddef>
#include <filesystem>
#include <stdexcept>

#include <unicode/locid.h>

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

/// Makes a directory this process's working directory until the end of the scope.
class ScopedWorkingDirectory {
  public:
    explicit ScopedWorkingDirectory(const std::filesystem::path& path) {
        std::filesystem::current_path(path);
    }
    ScopedWorkingDirectory(const ScopedWorkingDirectory&) = delete;
    ScopedWorkingDirectory& operator=(const ScopedWorkingDirectory&) = delete;
    ~ScopedWorkingDirectory() { std::filesystem::current_path(before_); }

  private:
    std::filesystem::path before_ = std::filesystem::current_path();
};

/// Makes a language the user's until the end of the scope, whatever the environment says.
class ScopedUserLanguage {
  public:
    /// "tr_TR"; "" is the language of nobody.
    explicit ScopedUserLanguage(const char* name) {
        UErrorCode status = U_ZERO_ERROR;
        icu::Locale::setDefault(icu::Locale(name), status);
        if (U_FAILURE(status)) {
            throw std::runtime_error(u_errorName(status));
        }
    }
    ScopedUserLanguage(const ScopedUserLanguage&) = delete;
    ScopedUserLanguage& operator=(const ScopedUserLanguage&) = delete;
    ~ScopedUserLanguage() {
        UErrorCode status = U_ZERO_ERROR;
        icu::Locale::setDefault(before_, status);
    }

  private:
    const icu::Locale before_ = icu::Locale::getDefault();
};

/// How many descriptors this process has open.
inline std::size_t openDescriptorCount() {
    std::size_t count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/dev/fd")) {
        ++count;
    }
    return count;
}

}  // namespace quernlight::test
