#pragma once

#include <boost/json/object.hpp>

#include "host/retirement/review_state.hpp"

namespace quernlight::host {

// Work in review, as docs/api/openapi.yaml describes it. What reads throws Misread.

boost::json::object jsonOf(const ReviewState& review);
boost::json::object jsonOf(const ReapedBug& reaped);

ReviewState readReviewState(const boost::json::value& value);
ReapedBug readReapedBug(const boost::json::value& value);

}  // namespace quernlight::host
