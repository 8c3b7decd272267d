#pragma once

namespace quernlight::host {

/// Keeps the administrator token, which lives in this process's memory, out of core dumps. The children
/// inherit the limit; a program of theirs that wants core dumps may raise it again.
void switchOffCoreDumps();

}  // namespace quernlight::host
