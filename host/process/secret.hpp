#pragma once

#include <string>

namespace quernlight::host {

/// 256 random bits of the kernel's as 64 digits. Throws UserError when it has none.
std::string randomSecret();

/// Takes as long whatever the texts have in common.
bool areEqualSecrets(const std::string& known, const std::string& given);

}  // namespace quernlight::host
