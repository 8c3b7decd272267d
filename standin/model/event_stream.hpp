#pragma once

#include <string>
#include <string_view>

#include <boost/json.hpp>

#include "quernlight/platform/instant.hpp"
#include "standin/backend/http_message.hpp"
#include "standin/model/plan.hpp"

namespace quernlight::standin::model {

/// An answer that consists of this one item, as server-sent events; `id` makes its ids unique.
Response eventStream(const boost::json::object& item, const std::string& id);

/// A message of the model's.
boost::json::object messageItem(const std::string& text, const std::string& id);

/// A call of an offered tool.
boost::json::object callItem(const OfferedTool& tool, const boost::json::object& arguments,
                             const std::string& callID);

/// A command, as the agent's shell tool of that name takes it.
boost::json::object shellArguments(std::string_view tool, const std::string& command);

/// What a refusing step answers.
Response refusal(const Step& step, Instant now);

}  // namespace quernlight::standin::model
