#pragma once

#include <string>
#include <vector>

namespace quernlight::test {

/// The processes of this machine that have the text in their arguments or their environment, each as
/// "PID NAME: where".
std::vector<std::string> processesThatHold(const std::string& text);

}  // namespace quernlight::test
