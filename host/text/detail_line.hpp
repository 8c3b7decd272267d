#pragma once

#include <string>

namespace quernlight::host {

/// "name:         text" as one line that ends, in which nothing acts on a terminal; empty for an empty text.
std::string detailLine(const std::string& name, const std::string& text);

}  // namespace quernlight::host
