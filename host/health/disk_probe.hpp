#pragma once

#include <filesystem>
#include <set>

#include "host/store/dispatch_store.hpp"
#include "quernlight/platform/background_executor.hpp"

namespace quernlight::host {

/// Whether the queue takes a write and there is room for a quarter of a mebibyte in the home and where each
/// of `unwritten` lies, or would lie. Leaves nothing behind. Never throws but on cancellation.
Task<bool> canBeWritten(DispatchStore store, BackgroundExecutor& background, std::filesystem::path home,
                        std::set<std::filesystem::path> unwritten);

}  // namespace quernlight::host
