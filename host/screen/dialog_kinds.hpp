#pragma once

#include <string>
#include <utility>
#include <vector>

#include "host/screen/dialog.hpp"

namespace quernlight::host {

/// What a dialog is about, and what told so. By how its options and the lines of its question begin: what
/// stands further behind may be quoted from anywhere, such as a command that is to be approved. What may be
/// an approval is one, whatever else it looks like.
std::pair<DialogKind, std::string> kindOf(const std::vector<std::string>& question,
                                          const std::vector<DialogOption>& options);

}  // namespace quernlight::host
