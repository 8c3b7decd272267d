#pragma once

#include <array>
#include <iostream>
#include <streambuf>

#include <unistd.h>

namespace quernlight::host {

/// Occupies what the caller has closed of standard input, output and error, so that no file that the program
/// opens takes its place and gets what is meant for a person. Such an input is at its end; writing to such an
/// output fails.
void occupyClosedStreams();

/// What the program prints, for as long as this lives: `stream` writes to the descriptor by way of it, and
/// what could not be written is not forgotten. Used on one thread.
class StandardOutput final : private std::streambuf {
  public:
    explicit StandardOutput(int descriptor = STDOUT_FILENO, std::ostream& stream = std::cout);
    StandardOutput(const StandardOutput&) = delete;
    StandardOutput& operator=(const StandardOutput&) = delete;
    ~StandardOutput() override;

    /// Writes what is left. Throws UserError when that, or anything before it, could not be written.
    void finish();

  private:
    int_type overflow(int_type character) override;
    int sync() override;

    const int descriptor_;
    std::ostream& stream_;
    std::streambuf* const before_;
    std::array<char, 8192> buffer_{};
    int error_ = 0;  // of the first write that failed, as errno has it
};

}  // namespace quernlight::host
