#pragma once

#include <boost/asio/any_io_executor.hpp>

#include "host/events/event_publisher.hpp"

namespace quernlight::host {

/// While it lives, what background work reports of its failures is published as a notice, and not on standard
/// error, whose reader may take nothing. One at a time; the publisher outlives it and is used on its
/// executor.
class FailureNotices {
  public:
    FailureNotices(const boost::asio::any_io_executor& executor, EventPublisher& events);
    FailureNotices(const FailureNotices&) = delete;
    FailureNotices& operator=(const FailureNotices&) = delete;
    ~FailureNotices();
};

}  // namespace quernlight::host
