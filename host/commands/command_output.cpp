#include "host/commands/command_output.hpp"

#include <iostream>

#include <unistd.h>

#include <boost/json/serialize.hpp>
#include <boost/json/value.hpp>

#include "host/text/terminal_text.hpp"
#include "host/view/terminal_style.hpp"

namespace quernlight::host {
namespace {

TextRoom roomOf(int descriptor) {
    if (isatty(descriptor) == 0) {
        return {};
    }
    const TerminalStyle style = terminalStyle(currentEnvironmentMap());
    return {.columns = terminalColumns(descriptor), .coloured = style == TerminalStyle::colouredPicture};
}

}  // namespace

CommandOutput::CommandOutput() : CommandOutput(std::cout, roomOf(STDOUT_FILENO)) {}

void CommandOutput::print(const Table& table) {
    print(table.text(room_));
}

void CommandOutput::print(std::string_view text) {
    stream_ << text << std::flush;
}

void CommandOutput::printJson(const boost::json::value& value) {
    print(escapedJson(boost::json::serialize(value)) + "\n");
}

}  // namespace quernlight::host
