#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "quernlight/platform/file_descriptor.hpp"

namespace quernlight::host {

struct TerminalSize {
    std::size_t columns = 80;
    std::size_t rows = 24;
};

/// A terminal that is written to without waiting for it: one that takes nothing (Ctrl-S) holds nobody up. One
/// that is gone takes everything.
class TerminalOutput {
  public:
    /// `terminal` is a descriptor that stays open as long as this lives.
    explicit TerminalOutput(int terminal);

    /// Its size now; 24 rows of 80 columns when it does not tell, and at least three rows of ten columns, so
    /// that there is room for one line.
    TerminalSize size() const;

    /// What is to be written once all that came before has been.
    void append(const std::string& text) { unwritten_ += text; }

    /// Writes what the terminal takes now. Whether that was all.
    bool flush();

    /// The same, but waits for a slow terminal until `patience` is over.
    void flush(std::chrono::milliseconds patience);

  private:
    bool hasRoom(std::chrono::milliseconds patience) const;

    const FileDescriptor own_;  // the same terminal, opened anew so that writing to it never waits
    const int terminal_;
    std::string unwritten_;
};

}  // namespace quernlight::host
