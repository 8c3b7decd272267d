#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "quernlight/backend/attachment.hpp"
#include "quernlight/backend/request_bodies.hpp"

namespace quernlight {

/// A boundary that no other form has: "Boundary-" and a fresh UUID.
std::string freshBoundary();

/// A comment with files as multipart/form-data, byte for byte as it is sent.
std::string multipartForm(const CreateCommentRequest& comment, const std::vector<Attachment>& attachments,
                          std::string_view boundary);

/// A file name as it stands between the quotes of a part's header: backslashes and quotes escaped, line
/// breaks left out.
std::string escapedFilename(std::string_view filename);

}  // namespace quernlight
