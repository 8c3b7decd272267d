#pragma once

#include <string>
#include <string_view>

namespace quernlight::host {

/// What git printed when it failed, with the cause in front, since what is shown of it may be its beginning
/// only: lines that tell of progress or warn, which git prints first, go to the end. Pure.
std::string causeFirst(std::string_view printed);

}  // namespace quernlight::host
