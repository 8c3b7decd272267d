#include "host/service/bug_text.hpp"

#include <algorithm>

#include "host/text/counted.hpp"
#include "host/text/detail_line.hpp"
#include "host/text/relative_time.hpp"
#include "host/text/terminal_text.hpp"
#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

/// A text of several lines, each made safe, and indented.
std::string paragraph(std::string_view text) {
    std::string shown;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        shown += "    " + withoutControls(text.substr(begin, end - begin)) + "\n";
        begin = end + 1;
    }
    return shown;
}

std::string attachmentText(const QLAttachmentDTO& attachment) {
    return detailLine(
        "attached",
        attachment.filename + " (" + attachment.contentType + ", " +
            sizeText(static_cast<std::uint64_t>(std::max<std::int64_t>(attachment.sizeBytes, 0))) + ")" +
            (attachment.downloadURL ? "  " + attachment.downloadURL->text() : ""));
}

std::string commentText(const QLCommentDTO& comment, Instant now, std::chrono::seconds offset) {
    std::string text = "\n" + withoutControls(comment.authorType.value_or("somebody")) + ", " +
                       localTime(comment.createdAt, now, offset) + " (" + timeAgo(comment.createdAt, now) +
                       ")\n" + paragraph(comment.body);
    for (const QLAttachmentDTO& attachment : comment.attachments) {
        text += attachmentText(attachment);
    }
    return text;
}

}  // namespace

Table bugTable(const std::vector<QLBugSummaryDTO>& bugs, Instant now) {
    Table table({"BUG", "APP", "STATUS", "FILED", "COMMENTS", flexible("TITLE")});
    for (const QLBugSummaryDTO& bug : bugs) {
        table.add({BugID::normalized(bug.id), bug.appName, bug.status, timeAgo(bug.createdAt, now),
                   std::to_string(bug.commentCount), bug.title});
    }
    return table;
}

std::string bugText(const QLBugDetailResponse& detail, Instant now, std::chrono::seconds offset) {
    const QLBugDetailDTO& bug = detail.bug;
    std::string text =
        detailLine("bug", BugID::normalized(bug.id) + "  " + bug.title) +
        detailLine("app", bug.appName + " " + bug.appVersion.value_or("") + " (" + bug.bundleID + ")") +
        detailLine("status", bug.status) + detailLine("pull request", bug.prURL ? bug.prURL->text() : "") +
        detailLine("filed", localTime(bug.createdAt, now, offset) + " (" + timeAgo(bug.createdAt, now) + ")" +
                                (bug.reporter ? " by " + *bug.reporter : "")) +
        detailLine("device", bug.displayDeviceModel().value_or("")) +
        detailLine("system", bug.osVersion.value_or("")) +
        detailLine("duplicate of", bug.duplicateOf.value_or("")) +
        detailLine("log", detail.logURL ? detail.logURL->text() : "");
    for (const QLAttachmentDTO& attachment : detail.attachments) {
        text += attachmentText(attachment);
    }
    if (bug.description && !trimmed(*bug.description).empty()) {
        text += "\n" + paragraph(*bug.description);
    }
    for (const QLCommentDTO& comment : detail.comments) {
        text += commentText(comment, now, offset);
    }
    return text;
}

}  // namespace quernlight::host
