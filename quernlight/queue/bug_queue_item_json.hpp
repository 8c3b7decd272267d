#pragma once

#include <stdexcept>
#include <string>

#include <boost/json/value_from.hpp>
#include <boost/json/value_to.hpp>

#include "quernlight/queue/bug_queue_item.hpp"

namespace quernlight {

/// A JSON value that is no queue item.
class BugQueueItemDecodingError : public std::runtime_error {
  public:
    /// `field` is the key that is missing or holds something unusable; empty when the value is no object.
    explicit BugQueueItemDecodingError(std::string field);

    const std::string& field() const { return field_; }

  private:
    std::string field_;
};

/// `boost::json::value_from(item)`: an object with each field's name as key. Instants are ISO 8601 text, ids
/// upper-case text, enumerations their raw values; absent fields are left out.
void tag_invoke(boost::json::value_from_tag, boost::json::value& json, const BugQueueItem& item);

/// `boost::json::value_to<BugQueueItem>(value)`: reads what the above wrote; an optional field may also be
/// null. Throws BugQueueItemDecodingError.
BugQueueItem tag_invoke(boost::json::value_to_tag<BugQueueItem>, const boost::json::value& json);

}  // namespace quernlight
