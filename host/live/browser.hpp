#pragma once

#include <string>

#include "quernlight/platform/url.hpp"
#include "quernlight/platform/user_directories.hpp"

namespace quernlight::host {

/// The program that shows a page: the first one of BROWSER that is found, else the system's own. Empty when
/// there is none.
std::string browserProgram(const EnvironmentMap& environment);

/// Shows a page without waiting for it. Throws UserError, which names the page, when there is no program for
/// it, or it is no web page.
void openInBrowser(const Url& page, const EnvironmentMap& environment);

}  // namespace quernlight::host
