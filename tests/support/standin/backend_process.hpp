#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include <sys/types.h>

#include "quernlight/platform/file_descriptor.hpp"

namespace quernlight::test {

/// A `standin-backend`, or another server of the stand-ins, started for a test: a process of its own whose
/// standard streams are pipes to the test. It ends with the fixture.
class BackendProcess {
  public:
    explicit BackendProcess(std::vector<std::string> arguments,
                            const std::string& program = STANDIN_BACKEND_PATH);
    BackendProcess(const BackendProcess&) = delete;
    BackendProcess& operator=(const BackendProcess&) = delete;
    ~BackendProcess();

    pid_t pid() const { return pid_; }
    /// The port it says that it listens on; fails the test when it says anything else.
    unsigned port();
    void closeInput();
    /// Its exit code, and all it has written to standard error until then.
    int exitCode();
    std::string errorText();

    /// A new connection on which these bytes have been sent.
    FileDescriptor send(const std::string& bytes);
    /// What comes back for these bytes on a new connection, until the process hangs up.
    std::string exchange(const std::string& bytes);

  private:
    pid_t pid_ = -1;
    unsigned port_ = 0;
    FileDescriptor input_;
    FileDescriptor output_;
    FileDescriptor error_;
};

}  // namespace quernlight::test
