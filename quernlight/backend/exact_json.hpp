#pragma once

#include <string_view>

#include <boost/json/error.hpp>
#include <boost/json/parse_options.hpp>
#include <boost/json/storage_ptr.hpp>
#include <boost/json/value.hpp>

namespace quernlight {

/// What `boost::json::parse` makes of `text`, but for the numbers, which Boost 1.81 does not read exactly:
/// one without a fractional part is an int64 where that can hold it, however it is spelled (5, 5.0 and 5e0);
/// any other is the double nearest to its text, infinite when it is beyond them all. Null when it sets
/// `error`. The value lies in `memory`, which outlives it.
boost::json::value parseExactly(std::string_view text, const boost::json::parse_options& options,
                                boost::json::error_code& error, boost::json::storage_ptr memory = {});

}  // namespace quernlight
