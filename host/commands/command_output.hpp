#pragma once

#include <iosfwd>
#include <string_view>

#include <boost/json/fwd.hpp>

#include "host/text/table.hpp"

namespace quernlight::host {

/// Where a command prints what it was asked for: standard output (StandardOutput makes an error of what could
/// not be written), and how much room and which colours there are.
class CommandOutput {
  public:
    /// Cuts nothing unless it is a terminal, and colours nothing there with TERM=dumb or NO_COLOR.
    CommandOutput();

    CommandOutput(std::ostream& stream, TextRoom room) : stream_(stream), room_(room) {}

    const TextRoom& room() const { return room_; }

    void print(const Table& table);

    /// Text in which nothing from outside acts on a terminal.
    void print(std::string_view text);

    /// On one line, with the acting characters in it escaped.
    void printJson(const boost::json::value& value);

  private:
    std::ostream& stream_;
    const TextRoom room_;
};

}  // namespace quernlight::host
