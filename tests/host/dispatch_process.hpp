#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include <sys/types.h>

#include "quernlight/platform/user_directories.hpp"

namespace quernlight::test {

/// A program of ours started for a test, as a process of its own that writes into files. It is killed
/// with this object at the latest.
class DispatchProcess {
  public:
    struct Launch {
        std::filesystem::path program = QUERNLIGHT_DISPATCH_PATH;
        std::vector<std::string> arguments{};  ///< without the program's name
        EnvironmentMap environment{};          ///< complete
        std::filesystem::path output{};  ///< what it prints goes here, its errors to the same with ".err"
        std::vector<std::string> startedBy{};  ///< a command that starts the one behind it; empty: nothing
        std::filesystem::path terminal{};      ///< a device; when given it takes the place of both files
        int standardOutput = -1;               ///< when given it takes the place of the first file
    };

    explicit DispatchProcess(const Launch& launch);
    DispatchProcess(const DispatchProcess&) = delete;
    DispatchProcess& operator=(const DispatchProcess&) = delete;
    ~DispatchProcess();

    pid_t pid() const { return pid_; }

    /// Waits until `text` stands in the output; false when the program ends, or a generous time passes,
    /// without it.
    bool says(const std::string& text);

    void signal(int number) const;

    /// Waits for its end: the exit status, or 128 plus the signal that ended it. Fails the test when it does
    /// not end in time.
    int exitCode();

    bool hasEnded();

    std::string output() const;
    std::string errorText() const;

  private:
    const std::filesystem::path output_;
    pid_t pid_ = -1;
    bool ended_ = false;
    int status_ = 0;
};

}  // namespace quernlight::test
