#include "standin/backend/comment_reading.hpp"

#include <boost/algorithm/string/predicate.hpp>

#include "quernlight/platform/text.hpp"
#include "standin/backend/json_text.hpp"
#include "standin/backend/multipart.hpp"
#include "standin/backend/object_reader.hpp"

namespace quernlight::standin {
namespace {

NewComment readComment(const boost::json::value& body) {
    const ObjectReader reader(body, "The comment");
    NewComment draft;
    draft.body = reader.text("body");
    draft.authorType = reader.optionalText("author_type");
    if (auto metadata = reader.optionalObject("metadata")) {
        draft.metadata = std::move(*metadata);
    }
    draft.prURL = reader.optionalUrl("pr_url");
    return draft;
}

/// The member that a form part stands for: the metadata is JSON, every other field is its text.
boost::json::value fieldValue(const FormPart& part) {
    if (!isValidUtf8(part.content)) {
        throw InvalidInput("The part \"" + part.name + "\" is not UTF-8.");
    }
    if (part.name == "metadata") {
        return parseJson(part.content, "The part \"metadata\"");
    }
    return boost::json::value(part.content);
}

Attachment attachmentOf(FormPart part, Instant now) {
    if (!part.filename || part.filename->empty() || !isValidUtf8(*part.filename)) {
        throw InvalidInput("An attachment needs a file name in UTF-8.");
    }
    return makeAttachment(std::move(*part.filename), part.contentType.value_or("application/octet-stream"),
                          std::move(part.content), now);
}

}  // namespace

boost::json::value jsonBody(const Request& request) {
    const auto type = request.header("Content-Type").value_or("");
    const auto name = trimmed(type.substr(0, type.find(';')));
    if (!boost::algorithm::iequals(name, "application/json", std::locale::classic())) {
        throw InvalidInput("The body must be sent as application/json.");
    }
    return parseJson(request.body, "The body");
}

NewComment commentOf(const Request& request, Instant now) {
    const auto boundary = multipartBoundary(request.header("Content-Type").value_or(""));
    if (!boundary) {
        return readComment(jsonBody(request));
    }
    boost::json::object fields;
    std::vector<Attachment> attachments;
    for (FormPart& part : parseMultipart(request.body, *boundary)) {
        if (part.name == "attachments") {
            attachments.push_back(attachmentOf(std::move(part), now));
        } else {
            fields[part.name] = fieldValue(part);
        }
    }
    NewComment draft = readComment(fields);
    draft.attachments = std::move(attachments);
    return draft;
}

}  // namespace quernlight::standin
