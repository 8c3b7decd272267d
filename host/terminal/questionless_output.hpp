#pragma once

#include <set>
#include <string>
#include <string_view>

#include "host/screen/terminal_parser.hpp"

namespace quernlight::host {

/// What a program wrote for a terminal, made fit for a person's own: all of it goes on as it is, but for what
/// makes a terminal answer on its own, which the model of the agent's terminal does already, and what reaches
/// beyond the screen: the clipboard, the window, other ways to write keys. It keeps in mind what it has
/// switched on. Split anywhere; holds a few kilobytes at most.
class QuestionlessOutput final : private TerminalActions {
  public:
    std::string pass(std::string_view bytes);

    /// What puts a terminal back that got all this.
    std::string undone() const;

  private:
    void print(char32_t character) override;
    void control(char character) override;
    void escape(char intermediate, char final) override;
    void controlSequence(const ControlSequence& sequence) override;
    void operatingSystemCommand(std::string_view text, std::string_view end) override;
    void noteModes(const ControlSequence& sequence);

    TerminalParser parser_;
    std::string passed_;
    std::set<int> modes_;  // that were switched on
};

}  // namespace quernlight::host
