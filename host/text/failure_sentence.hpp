#pragma once

#include <exception>
#include <string>

namespace quernlight::host {

/// What an exception says, for people: one line in which nothing acts on a terminal. Of what the backend
/// sent, which may be megabytes of anything, at most 300 characters are in it.
std::string failureSentence(const std::exception& error);

}  // namespace quernlight::host
