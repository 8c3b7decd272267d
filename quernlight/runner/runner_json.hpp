#pragma once

#include <boost/json/value.hpp>
#include <boost/json/value_from.hpp>
#include <boost/json/value_to.hpp>

#include "quernlight/runner/runner_event.hpp"
#include "quernlight/runner/start_session_request.hpp"
#include "quernlight/runner/termination_mode.hpp"

namespace quernlight {

// The runner's records as JSON, for boost::json::value_from and value_to: fields under their own names, UUIDs
// and dates as their texts, paths as they are, bytes in base64. An absent optional is left out. An event is
// an object with one key, its case, whose value holds the payload's fields. Reading throws std::exception for
// anything else.

void tag_invoke(const boost::json::value_from_tag&, boost::json::value& json, TerminationMode mode);
TerminationMode tag_invoke(const boost::json::value_to_tag<TerminationMode>&, const boost::json::value& json);

void tag_invoke(const boost::json::value_from_tag&, boost::json::value& json, const StartSessionRequest&);
StartSessionRequest tag_invoke(const boost::json::value_to_tag<StartSessionRequest>&,
                               const boost::json::value& json);

void tag_invoke(const boost::json::value_from_tag&, boost::json::value& json, const StartSessionResponse&);
StartSessionResponse tag_invoke(const boost::json::value_to_tag<StartSessionResponse>&,
                                const boost::json::value& json);

void tag_invoke(const boost::json::value_from_tag&, boost::json::value& json, const RunnerSessionSnapshot&);
RunnerSessionSnapshot tag_invoke(const boost::json::value_to_tag<RunnerSessionSnapshot>&,
                                 const boost::json::value& json);

void tag_invoke(const boost::json::value_from_tag&, boost::json::value& json, const RunnerEvent& event);
RunnerEvent tag_invoke(const boost::json::value_to_tag<RunnerEvent>&, const boost::json::value& json);

}  // namespace quernlight
