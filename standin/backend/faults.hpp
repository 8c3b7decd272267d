#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <boost/json.hpp>

namespace quernlight::standin {

/// One way in which the backend misbehaves on demand. As JSON:
///
///     {"kind": "delay", "delay_ms": 300}          answers later
///     {"kind": "status", "status": 503}           answers with this status and does nothing else
///     {"kind": "malformed_json"}                  does what is asked; half of the answer's JSON is missing
///     {"kind": "cut_connection"}                  does what is asked; the connection ends within the body
///     {"kind": "logs_required"}                   filing a bug without logs gets 400 "Logs Required"
///
/// each with, at will, "path_prefix" (of the request's path; "/v1/"), "method" (any) and "times" (how many
/// requests it strikes; until it is cleared), and a "status" also with "body" (a small error). So 403 on
/// every PATCH is {"kind": "status", "status": 403, "method": "PATCH"}.
struct Fault {
    std::string kind;
    std::string pathPrefix = "/v1/";
    std::optional<std::string> method;
    std::optional<std::int64_t> times;  ///< at least 1
    std::chrono::milliseconds delay{0};
    unsigned status = 0;
    std::optional<std::string> body;
};

/// Throws InvalidInput.
Fault faultFromJson(const boost::json::value& value);

/// What the faults make of one request.
struct FaultPlan {
    std::chrono::milliseconds delay{0};
    std::optional<unsigned> status;
    std::optional<std::string> body;
    bool malformedJson = false;
    bool cutConnection = false;
    bool logsRequired = false;
};

/// The faults in force. One owner, one thread.
class Faults {
  public:
    /// In place of an earlier one of the same kind, path prefix and method.
    void set(Fault fault);
    void clear() { faults_.clear(); }

    /// What strikes this request; counts it against the faults that strike only some.
    FaultPlan take(std::string_view method, std::string_view path);

    boost::json::array toJson() const;

  private:
    std::vector<Fault> faults_;
};

}  // namespace quernlight::standin
