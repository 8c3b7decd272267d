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
    bool again = false;  ///< of `retry`: also when its work is finished
    bool yes = false;    ///< the answer to what `again` asks
};

/// `quernlight-dispatch queue list`: may run beside the home's owner. Returns the exit status. Throws
/// UserError.
int queueListCommand(const std::optional<std::filesystem::path>& home);

/// The commands for one bug. All but `show` change the queue, so no other process may own the home. Before
/// finished work is done again a person is asked on the terminal. Returns the exit status. Throws UserError,
/// also when the bug is not queued or the action does not suit its state.
int queueItemCommand(const QueueItemOptions& options);

}  // namespace quernlight::host
