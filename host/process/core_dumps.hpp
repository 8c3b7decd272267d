#pragma once

namespace quernlight::host {

/// Keeps the administrator token, which lives in this process's memory, out of core dumps. The children
/// inherit the limit; a program of theirs that wants core dumps may raise it again. Where the system pipes
/// core dumps to a program (core(5)) it is for that program to respect the limit.
void switchOffCoreDumps();

}  // namespace quernlight::host
