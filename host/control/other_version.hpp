#pragma once

namespace quernlight::host {

/// What a person is told whenever the owner of a home says what this program does not understand.
inline constexpr const char* ownerOfAnotherVersion =
    "The dispatcher that runs answers in a form that is not known here; it is of another version: stop it, and "
    "start it again with this one.";

}  // namespace quernlight::host
