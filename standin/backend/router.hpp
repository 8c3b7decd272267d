#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "standin/backend/bug_store.hpp"
#include "standin/backend/faults.hpp"
#include "standin/backend/http_message.hpp"

namespace quernlight::standin {

/// Answers requests from the store, as values and without sockets. Every request needs the admin token but
/// the one that files a bug, which names its app by two headers. Faults in force are worked into the answer;
/// they leave the paths below "/standin/" alone, where they are set:
///
///     POST /standin/faults {"clear": true, "set": [FAULT, ...]}
///
/// clears first and sets then (both members may be left out) and answers {"faults": [...]} with those in
/// force. Errors are answers too: {"error": "A SENTENCE"} with 400, 401, 404 or 405.
/// Borrows the store and the faults; one thread.
class Router {
  public:
    Router(BugStore& store, Faults& faults, std::string token,
           std::optional<std::string> agentToken = std::nullopt);

    Response respond(const Request& request, Instant now);

  private:
    struct Call {
        const Request& request;
        std::vector<std::string> parameters;  ///< what the variable segments of the path are
        std::map<std::string, std::string> query;
        Instant now;
        bool logsRequired = false;
    };
    using Handler = Response (Router::*)(const Call&);
    struct Route {
        std::string_view method;
        std::vector<std::string_view> segments;  ///< "*" is variable
        Handler handler;
    };

    static const std::vector<Route>& routes();

    Response handle(const Request& request, Instant now, bool logsRequired);
    void requireToken(const Request& request) const;
    const Bug& bugOf(const Call& call) const;

    Response listApps(const Call& call);
    Response listBugs(const Call& call);
    Response fileBug(const Call& call);
    Response showBug(const Call& call);
    Response changeBug(const Call& call);
    Response changeStatus(const Call& call);
    Response deleteBug(const Call& call);
    Response listComments(const Call& call);
    Response postComment(const Call& call);
    Response deleteComment(const Call& call);
    Response changeFaults(const Call& call);

    BugStore& store_;
    Faults& faults_;
    std::string token_;
    std::optional<std::string> agentToken_;
};

}  // namespace quernlight::standin
