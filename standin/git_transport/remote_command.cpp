#include "standin/git_transport/remote_command.hpp"

#include <algorithm>

namespace quernlight::standin {
namespace {

bool takesValue(std::string_view option) {
    return option == "-o" || option == "-p" || option == "-P";
}

bool standsAlone(std::string_view option) {
    return option == "-4" || option == "-6" || option == "-batch";
}

/// Reads one argument as git quotes it: all in single quotes, but for \' and \! between two quoted pieces.
std::optional<std::string> unquoted(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        if (text.starts_with("\\'") || text.starts_with("\\!")) {
            result += text[1];
            text.remove_prefix(2);
            continue;
        }
        const std::size_t end = text.front() == '\'' ? text.find('\'', 1) : std::string_view::npos;
        if (end == std::string_view::npos) {
            return std::nullopt;
        }
        result += text.substr(1, end - 1);
        text.remove_prefix(end + 1);
    }
    return result;
}

}  // namespace

std::optional<std::string> remoteCommandArgument(const std::vector<std::string>& arguments) {
    auto argument = arguments.begin();
    while (argument != arguments.end() && argument->starts_with('-')) {
        const std::ptrdiff_t length = takesValue(*argument) ? 2 : standsAlone(*argument) ? 1 : 0;
        if (length == 0 || arguments.end() - argument < length) {
            return std::nullopt;
        }
        argument += length;
    }
    // The host is whatever it is; every host is this machine.
    return arguments.end() - argument == 2 ? std::optional(argument[1]) : std::nullopt;
}

std::optional<RemoteCommand> parseRemoteCommand(std::string_view text) {
    for (const std::string_view service : {"upload-pack", "receive-pack"}) {
        for (const std::string_view prefix : {"git-", "git "}) {
            const std::string start = std::string(prefix) + std::string(service) + " ";
            if (text.starts_with(start)) {
                const auto repository = unquoted(text.substr(start.size()));
                return repository ? std::optional(RemoteCommand{std::string(service), *repository})
                                  : std::nullopt;
            }
        }
    }
    return std::nullopt;
}

std::optional<std::filesystem::path> repositoryBelow(const std::filesystem::path& root,
                                                     std::string_view repository) {
    // An ssh:// address gives "/owner/repo.git" where the short form gives "owner/repo.git".
    const std::filesystem::path path =
        std::filesystem::path(repository.starts_with('/') ? repository.substr(1) : repository);
    std::error_code error;
    const auto resolvedRoot = std::filesystem::canonical(root, error);
    if (error || path.empty() || path.is_absolute()) {
        return std::nullopt;
    }
    const auto resolved = std::filesystem::weakly_canonical(resolvedRoot / path, error);
    if (error || resolved == resolvedRoot) {
        return std::nullopt;
    }
    const auto [rootEnd, ignored] =
        std::mismatch(resolvedRoot.begin(), resolvedRoot.end(), resolved.begin(), resolved.end());
    return rootEnd == resolvedRoot.end() ? std::optional(resolved) : std::nullopt;
}

}  // namespace quernlight::standin
