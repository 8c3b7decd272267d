#pragma once

#include <boost/json/object.hpp>

#include "host/report/report.hpp"

namespace quernlight::host {

/// As docs/api/openapi.yaml describes it.
boost::json::object jsonOf(const Report& report);

/// Throws Misread.
Report readReport(const boost::json::value& value);

}  // namespace quernlight::host
