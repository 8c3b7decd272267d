#pragma once

#include <filesystem>

namespace quernlight {

/// The file that the running program was started from, links resolved. Throws
/// std::filesystem::filesystem_error.
std::filesystem::path programLocation();

}  // namespace quernlight
