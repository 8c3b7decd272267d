#pragma once

#include <string>
#include <string_view>

namespace quernlight::ANSIPlainTextConverter {

/// The readable text of terminal output: without control sequences, with a line feed for every carriage
/// return, and with U+FFFD for every maximal piece that is not UTF-8. Everything else stays as it is; no
/// cursor movement is interpreted. Stateless: a sequence that does not end within `bytes` is dropped to the
/// end, and its rest, in another call, is text.
std::string plain(std::string_view bytes);

/// The same, appended to `text`.
void appendPlain(std::string& text, std::string_view bytes);

}  // namespace quernlight::ANSIPlainTextConverter
