#pragma once

#include <functional>
#include <memory>

namespace quernlight::host {

/// What happens in a running dispatcher.
struct DispatchEvent;

/// Must neither wait nor throw.
using EventHandler = std::function<void(const DispatchEvent&)>;

/// The handler is told of events for as long as this lives. Empty where nothing can happen.
using EventSubscription = std::shared_ptr<const EventHandler>;

}  // namespace quernlight::host
