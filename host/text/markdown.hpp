#pragma once

#include <string>
#include <string_view>

namespace quernlight::host {

/// Text from outside as it is to stand in a Markdown paragraph: on one line, without what acts on a terminal,
/// and nothing in it is markup, a link, a mention or HTML.
std::string markdownText(std::string_view text);

/// The text as code, whatever is in it; nothing in it acts on a terminal.
std::string markdownCode(std::string_view text);

}  // namespace quernlight::host
