#include "quernlight/backend/multipart_form.hpp"

#include "quernlight/platform/identifiers.hpp"

namespace quernlight {
namespace {

/// Appends part after part; the form is complete with the closing line.
class FormWriter {
  public:
    explicit FormWriter(std::string_view boundary) : delimiter_("--" + std::string(boundary)) {}

    void addField(std::string_view name, std::string_view value) {
        openPart(name);
        form_ += "\"\r\n\r\n";
        closePart(value);
    }

    void addFile(const Attachment& file) {
        openPart("attachments");
        form_ += "\"; filename=\"" + escapedFilename(file.filename) + "\"\r\n";
        form_ += "Content-Type: " + file.contentType + "\r\n\r\n";
        closePart(file.bytes);
    }

    std::string finish() && {
        form_ += delimiter_ + "--\r\n";
        return std::move(form_);
    }

  private:
    void openPart(std::string_view name) {
        form_ += delimiter_ + "\r\nContent-Disposition: form-data; name=\"";
        form_ += name;
    }

    void closePart(std::string_view content) {
        form_ += content;
        form_ += "\r\n";
    }

    std::string delimiter_;
    std::string form_;
};

}  // namespace

std::string freshBoundary() {
    return "Boundary-" + upperCaseText(randomUuid());
}

std::string multipartForm(const CreateCommentRequest& comment, const std::vector<Attachment>& attachments,
                          std::string_view boundary) {
    FormWriter form(boundary);
    form.addField("body", comment.body);
    if (comment.authorType) {
        form.addField("author_type", *comment.authorType);
    }
    if (comment.metadata) {
        form.addField("metadata", encodedJSON(*comment.metadata));
    }
    if (comment.prURL) {
        form.addField("pr_url", comment.prURL->text());
    }
    for (const Attachment& attachment : attachments) {
        form.addFile(attachment);
    }
    return std::move(form).finish();
}

std::string escapedFilename(std::string_view filename) {
    std::string escaped;
    for (const char character : filename) {
        if (character == '\\' || character == '"') {
            escaped += '\\';
        }
        if (character != '\r' && character != '\n') {
            escaped += character;
        }
    }
    return escaped;
}

}  // namespace quernlight
