#pragma once

#include <string>

#include <boost/json/object.hpp>

namespace quernlight::host {

// A session for people, from what session_json.hpp makes of it. Lines that end; nothing in them acts on a
// terminal, whoever has made the JSON.

/// One line of a list.
std::string sessionLine(const boost::json::object& session);

/// What `sessions show` tells; "attempt" is that of jsonOf, or null, and "dispatcher_runs" says whether
/// "agent" is to be believed.
std::string sessionStatus(const boost::json::object& session);

/// The lines of its agent's screen, without blank ones at the end.
std::string pictureText(const boost::json::object& session);

/// What its agent's screen is taken for, and why.
std::string explanationText(const boost::json::object& session);

}  // namespace quernlight::host
