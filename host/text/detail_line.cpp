#include "host/text/detail_line.hpp"

#include "host/text/terminal_text.hpp"

namespace quernlight::host {

std::string detailLine(const std::string& name, const std::string& text) {
    constexpr std::size_t width = 14;
    return text.empty() ? "" : fitted(name + ":", width) + withoutControls(text) + "\n";
}

}  // namespace quernlight::host
