#pragma once

#include <chrono>

#include "host/session_news.hpp"
#include "quernlight/backend/quernlight_client.hpp"
#include "quernlight/dispatch/completion_detector.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight::host {

/// Polls a bug's comments until it is cancelled and tells the mailbox what changed. A poll that fails ends
/// nothing: the next one comes after a longer pause, up to a minute. Intervals vary by a quarter, so that
/// sessions which started together do not ask together.
Task<void> pollComments(QuernlightClient client, CompletionPollState state,
                        std::chrono::milliseconds interval, SessionMailbox::Continuation mailbox);

}  // namespace quernlight::host
