#include "fuzz/property.hpp"
#include "quernlight/runner/terminal_input.hpp"

using namespace quernlight;

namespace {

std::string without(std::string text, std::string_view characters) {
    std::erase_if(text, [&](char character) { return characters.find(character) != characters.npos; });
    return text;
}

}  // namespace

/// No line feed reaches the terminal, and nothing but line ends changes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(fuzz::textOf(data, size));
    const std::string typed = TerminalInputEncoding::dataForPTYWrite(input);
    fuzz::require(typed.find('\n') == typed.npos, "no line feed is typed");
    fuzz::require(typed.size() <= input.size(), "typing is never longer than the input");
    fuzz::require(without(typed, "\r") == without(input, "\r\n"), "only line ends change");
    fuzz::require(TerminalInputEncoding::dataForPTYWrite(typed) == typed, "what is encoded stays as it is");
    return 0;
}
