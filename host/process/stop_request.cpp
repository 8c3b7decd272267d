#include "host/process/stop_request.hpp"

#include <vector>

#include <boost/asio/error.hpp>
#include <boost/system/system_error.hpp>

namespace quernlight::host {

StopRequest::Subscription::~Subscription() {
    if (const auto listeners = listeners_.lock()) {
        listeners->erase(number_);
    }
}

/// A listener that is told may end others, or add some.
void StopRequest::raise(StopLevel level) {
    if (level <= level_) {
        return;
    }
    level_ = level;
    std::vector<std::size_t> numbers;
    for (const auto& [number, listener] : *listeners_) {
        numbers.push_back(number);
    }
    for (const std::size_t number : numbers) {
        const auto found = listeners_->find(number);
        if (found != listeners_->end()) {
            const auto listener = found->second;
            listener();
        }
    }
}

StopRequest::Subscription StopRequest::onRise(std::function<void()> listener) {
    listeners_->emplace(++lastNumber_, std::move(listener));
    return Subscription(listeners_, lastNumber_);
}

void StopRequest::throwIfRaised(StopLevel level) const {
    if (level_ >= level) {
        throw boost::system::system_error(boost::asio::error::operation_aborted);
    }
}

}  // namespace quernlight::host
