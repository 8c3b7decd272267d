#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "quernlight/backend/attachment.hpp"
#include "quernlight/backend/request_bodies.hpp"

namespace quernlight {

/// A boundary that no other form has: "Boundary-" and a fresh UUID in upper case.
std::string freshBoundary();

/// A comment with files as multipart/form-data, byte for byte as it is sent: body, author_type, metadata,
/// pr_url (each of the last three only when it is given), then the files in their order. Lines end in CR LF.
std::string multipartForm(const CreateCommentRequest& comment, const std::vector<Attachment>& attachments,
                          std::string_view boundary);

/// A file name as it stands between the quotes of a part's header: backslashes and quotes escaped, line
/// breaks left out.
std::string escapedFilename(std::string_view filename);

}  // namespace quernlight
