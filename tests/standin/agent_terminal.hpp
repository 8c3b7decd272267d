#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include <sys/types.h>

#include "quernlight/platform/file_descriptor.hpp"

namespace quernlight::standin::test {

/// A program in a real pseudo-terminal, read and typed to by the test. It is killed with this object at the
/// latest.
class AgentTerminal {
  public:
    struct Launch {
        std::string executable;
        std::vector<std::string> arguments{};  ///< without the program's name
        std::vector<std::string> environment;
        std::filesystem::path directory;
    };

    explicit AgentTerminal(const Launch& launch);
    AgentTerminal(const AgentTerminal&) = delete;
    AgentTerminal& operator=(const AgentTerminal&) = delete;
    ~AgentTerminal();

    /// Reads until `text` appears behind what an earlier call found. False when the program ends, or a
    /// generous time passes, without it.
    bool sees(const std::string& text);

    /// Types bytes in one write.
    void type(const std::string& bytes);

    void signal(int number);

    /// Closes the terminal under the program.
    void hangUp();

    /// Reads to the end and returns the exit code, 128 plus the number for a signal.
    int exitCode();

    /// All that the program has printed and the test has read.
    const std::string& output() const { return output_; }

  private:
    bool readMore();

    FileDescriptor master_;
    pid_t child_ = -1;
    std::string output_;
    std::size_t seen_ = 0;
};

}  // namespace quernlight::standin::test
