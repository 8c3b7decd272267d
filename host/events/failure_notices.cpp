#include "host/events/failure_notices.hpp"

#include <boost/asio/post.hpp>

#include "quernlight/platform/task.hpp"

namespace quernlight::host {

FailureNotices::FailureNotices(const boost::asio::any_io_executor& executor, EventPublisher& events) {
    setFailureSink([executor, &events](const std::string& line) {
        boost::asio::post(executor, [line, &events] { events.notice(line); });
    });
}

FailureNotices::~FailureNotices() {
    setFailureSink({});
}

}  // namespace quernlight::host
