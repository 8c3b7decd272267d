#pragma once

#include <filesystem>

#include "host/service/dispatch_service.hpp"

namespace quernlight::host {

/// Offers all settings in the person's editor, and makes the changes. Returns the exit status. Nothing that
/// was typed is lost: a text that cannot be meant, or whose changes cannot be made, is offered again or kept,
/// and its file is named, also that of an edit that was cut off. The file lies in the home, where there is
/// one. Throws UserError.
int editSettings(DispatchService& service, const std::filesystem::path& home, bool asJson);

}  // namespace quernlight::host
