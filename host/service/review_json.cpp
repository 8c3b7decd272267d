#include "host/service/review_json.hpp"

#include "host/service/json_fields.hpp"
#include "host/service/queue_json.hpp"

namespace quernlight::host {

namespace json = boost::json;

json::object jsonOf(const ReviewState& review) {
    json::object object = jsonOf(QueueEntry{.item = review.item, .stage = stageOf(review.item)});
    object["branch"] = jsonText(review.branch);
    object["pull_request"] = jsonIfAny(review.pullRequest);
    object["merge"] = nameOf(review.merge);
    object["conflict"] = nameOf(review.conflict);
    object["trouble"] = jsonText(review.trouble);
    return object;
}

ReviewState readReviewState(const json::value& value) {
    const JsonFields fields(value);
    return {.item = readQueueEntry(value).item,
            .branch = fields.text("branch"),
            .pullRequest = fields.optionalUrl("pull_request"),
            .merge = fields.parsed("merge", parseMergeState),
            .conflict = fields.parsed("conflict", parseConflictState),
            .trouble = fields.text("trouble")};
}

json::object jsonOf(const ReapedBug& reaped) {
    return {{"bug", jsonText(reaped.bugID)},
            {"app", jsonText(reaped.appName)},
            {"title", jsonText(reaped.title)},
            {"pull_request", jsonIfAny(reaped.pullRequest)},
            {"goes", reaped.goes},
            {"sentence", jsonText(reaped.sentence)},
            {"preserved", jsonText(reaped.preserved)}};
}

ReapedBug readReapedBug(const json::value& value) {
    const JsonFields fields(value);
    return {.bugID = fields.text("bug"),
            .appName = fields.text("app"),
            .title = fields.text("title"),
            .pullRequest = fields.optionalUrl("pull_request"),
            .goes = fields.flag("goes"),
            .sentence = fields.text("sentence"),
            .preserved = fields.text("preserved")};
}

}  // namespace quernlight::host
