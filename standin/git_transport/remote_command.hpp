#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quernlight::standin {

/// What git asks the far side to run.
struct RemoteCommand {
    std::string service;     ///< "upload-pack" or "receive-pack"
    std::string repository;  ///< as git wrote it, for example "owner/repo.git"

    bool operator==(const RemoteCommand&) const = default;
};

/// The remote command among the arguments that git gives an ssh program: options, the host, the command.
/// Nothing for a probe ("-G") and for anything that is not such a call.
std::optional<std::string> remoteCommandArgument(const std::vector<std::string>& arguments);

/// Reads git-upload-pack 'path' or git-receive-pack 'path' with git's own quoting; nothing for any other
/// text, which is never given to a shell.
std::optional<RemoteCommand> parseRemoteCommand(std::string_view text);

/// The repository's folder below `root`; nothing when the path would leave it, by its names or by a symbolic
/// link.
std::optional<std::filesystem::path> repositoryBelow(const std::filesystem::path& root,
                                                     std::string_view repository);

}  // namespace quernlight::standin
