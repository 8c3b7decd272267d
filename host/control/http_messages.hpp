#pragma once

#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>

#include "host/control/control_message.hpp"
#include "host/control/listener_gate.hpp"

namespace quernlight::host {

// Requests and answers as they go over a connection, and as everything behind it knows them.

using HttpHeader = boost::beast::http::request_header<>;
using HttpRequest = boost::beast::http::request<boost::beast::http::string_body>;
using HttpResponse = boost::beast::http::response<boost::beast::http::string_body>;

/// What a gate looks at.
RequestOrigin originOf(const HttpHeader& message);

/// Takes the body out of it.
ControlRequest requestOf(HttpRequest& message, const Caller& caller);

/// The same of what has come through a gate: it is a person's, and the token that opened the gate is no
/// secret of a session.
ControlRequest personsRequest(HttpRequest& message);

/// Whether its body comes only once it is told to go on (RFC 9110, 10.1.1).
bool expectsContinue(const HttpHeader& message);

HttpResponse messageOf(ControlResponse response, bool keepAlive);

}  // namespace quernlight::host
