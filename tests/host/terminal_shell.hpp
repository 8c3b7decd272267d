#pragma once

#include <string>
#include <vector>

#include <fcntl.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <gtest/gtest.h>

#include "quernlight/platform/spawn.hpp"
#include "quernlight/platform/user_directories.hpp"
#include "tests/host/terminal_bytes.hpp"

namespace quernlight::test {

/// The program as the job of a shell on a terminal of its own. Once it has ended the shell says its status
/// and how the terminal is set then.
class TerminalShell {
  public:
    TerminalShell(const std::vector<std::string>& words, const EnvironmentMap& environment)
        : master_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        EXPECT_TRUE(grantpt(master_.get()) == 0 && unlockpt(master_.get()) == 0);
        const char* const script = "stty cols 60; \"$@\"; echo \"status $?\"; stty -a; echo 'it has ended'";
        SpawnRequest request{.executable = "/bin/bash",
                             .arguments = {"bash", "-mc", script, "bash", QUERNLIGHT_DISPATCH_PATH},
                             .environment = {},
                             .streams = TerminalStreams{.device = ptsname(master_.get())}};
        request.arguments.insert(request.arguments.end(), words.begin(), words.end());
        for (const auto& [name, value] : environment) {
            request.environment.push_back(name + "=" + value);
        }
        shell_ = spawnProcess(request);
    }
    TerminalShell(const TerminalShell&) = delete;
    TerminalShell& operator=(const TerminalShell&) = delete;
    ~TerminalShell() {
        master_.close();  // hangs up on what still runs
        waitpid(shell_, nullptr, 0);
    }

    /// What comes on the terminal up to the text, and with it.
    std::string shownUpTo(const std::string& text) {
        while (unread_.find(text) == std::string::npos) {
            const std::string bytes = nextBytes(master_);
            if (bytes.empty()) {
                ADD_FAILURE() << "no \"" << text << "\" in: " << unread_;
                return "";
            }
            unread_ += bytes;
        }
        const auto end = unread_.find(text) + text.size();
        const std::string shown = unread_.substr(0, end);
        unread_.erase(0, end);
        return shown;
    }

    std::string shownUpToTheEnd() { return shownUpTo("it has ended"); }

    void type(const std::string& keys) {
        EXPECT_EQ(write(master_.get(), keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }

  private:
    FileDescriptor master_;
    pid_t shell_ = -1;
    std::string unread_;
};

}  // namespace quernlight::test
