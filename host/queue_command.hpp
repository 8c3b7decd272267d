#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace quernlight::host {

enum class QueueAction { show, start, next, retry, cancel, moveToManual, moveToAuto };

struct QueueItemOptions {
    QueueAction action = QueueAction::show;
    std::string bugID{};
    std::optional<std::filesystem::path> home{};
};

/// `quernlight-dispatch queue list`: may run beside the home's owner. Returns the exit status. Throws
/// UserError.
int queueListCommand(const std::optional<std::filesystem::path>& home);

/// The commands for one bug. All but `show` change the queue, so no other process may own the home. Returns
/// the exit status. Throws UserError, also when the bug is not queued or the action does not suit its state.
int queueItemCommand(const QueueItemOptions& options);

}  // namespace quernlight::host
