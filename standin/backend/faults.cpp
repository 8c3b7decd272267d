#include "standin/backend/faults.hpp"

#include <algorithm>
#include <limits>
#include <utility>

#include "standin/backend/object_reader.hpp"

namespace quernlight::standin {
namespace {

constexpr std::int64_t longestDelay = 600'000;

bool strikes(const Fault& fault, std::string_view method, std::string_view path) {
    if (fault.kind == "logs_required" && (method != "POST" || path != "/v1/bugs")) {
        return false;
    }
    return path.starts_with(fault.pathPrefix) && (!fault.method || *fault.method == method);
}

void addTo(FaultPlan& plan, const Fault& fault) {
    if (fault.kind == "delay") {
        plan.delay = std::max(plan.delay, fault.delay);
    } else if (fault.kind == "status") {
        plan.status = fault.status;
        plan.body = fault.body;
    } else {
        plan.malformedJson |= fault.kind == "malformed_json";
        plan.cutConnection |= fault.kind == "cut_connection";
        plan.logsRequired |= fault.kind == "logs_required";
    }
}

void readCommonMembers(Fault& fault, const ObjectReader& reader) {
    fault.pathPrefix = reader.optionalText("path_prefix").value_or(fault.pathPrefix);
    if (!fault.pathPrefix.starts_with("/")) {
        throw InvalidInput("A fault's \"path_prefix\" must begin with \"/\".");
    }
    fault.method = reader.optionalText("method");
    fault.times = reader.optionalInteger("times", 1, std::numeric_limits<std::int64_t>::max());
}

}  // namespace

Fault faultFromJson(const boost::json::value& value) {
    const ObjectReader reader(value, "A fault");
    Fault fault;
    fault.kind = reader.text("kind");
    readCommonMembers(fault, reader);
    if (fault.kind == "delay") {
        reader.refuseOthersThan({"kind", "path_prefix", "method", "times", "delay_ms"});
        fault.delay =
            std::chrono::milliseconds(reader.optionalInteger("delay_ms", 0, longestDelay).value_or(0));
    } else if (fault.kind == "status") {
        reader.refuseOthersThan({"kind", "path_prefix", "method", "times", "status", "body"});
        fault.status = static_cast<unsigned>(reader.optionalInteger("status", 200, 599).value_or(500));
        fault.body = reader.optionalText("body");
    } else if (fault.kind == "malformed_json" || fault.kind == "cut_connection" ||
               fault.kind == "logs_required") {
        reader.refuseOthersThan({"kind", "path_prefix", "method", "times"});
    } else {
        throw InvalidInput(
            "A fault's \"kind\" must be delay, status, malformed_json, cut_connection or "
            "logs_required.");
    }
    return fault;
}

void Faults::set(Fault fault) {
    std::erase_if(faults_, [&](const Fault& other) {
        return other.kind == fault.kind && other.pathPrefix == fault.pathPrefix &&
               other.method == fault.method;
    });
    faults_.push_back(std::move(fault));
}

FaultPlan Faults::take(std::string_view method, std::string_view path) {
    FaultPlan plan;
    for (Fault& fault : faults_) {
        if (strikes(fault, method, path)) {
            addTo(plan, fault);
            fault.times = fault.times ? std::optional(*fault.times - 1) : std::nullopt;
        }
    }
    std::erase_if(faults_, [](const Fault& fault) { return fault.times == 0; });
    return plan;
}

boost::json::array Faults::toJson() const {
    boost::json::array forms;
    for (const Fault& fault : faults_) {
        boost::json::object form{{"kind", fault.kind}, {"path_prefix", fault.pathPrefix}};
        if (fault.method) {
            form["method"] = *fault.method;
        }
        if (fault.times) {
            form["times"] = *fault.times;
        }
        if (fault.kind == "delay") {
            form["delay_ms"] = fault.delay.count();
        }
        if (fault.kind == "status") {
            form["status"] = fault.status;
        }
        if (fault.body) {
            form["body"] = *fault.body;
        }
        forms.push_back(std::move(form));
    }
    return forms;
}

}  // namespace quernlight::standin
