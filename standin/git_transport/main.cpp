// Stands in for ssh: PROGRAM ROOT [options] user@host "git-upload-pack 'owner/repo.git'" serves the bare
// repository ROOT/owner/repo.git, so that a remote has a host and yet is local.

#include <cerrno>
#include <cstring>
#include <iostream>

#include <unistd.h>

#include "standin/git_transport/remote_command.hpp"

namespace {

constexpr int failed = 255;  // as ssh does

int refuse(const std::string& sentence) {
    std::cerr << "standin-git-transport: " << sentence << '\n';
    return failed;
}

int serve(const std::string& service, const std::filesystem::path& repository) {
    execlp("git", "git", service.c_str(), repository.c_str(), nullptr);
    return refuse(std::string("git cannot be run: ") + std::strerror(errno));
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.empty()) {
        return refuse("the first argument must be the folder that holds the repositories.");
    }
    const auto text = quernlight::standin::remoteCommandArgument({arguments.begin() + 1, arguments.end()});
    const auto command = text ? quernlight::standin::parseRemoteCommand(*text) : std::nullopt;
    if (!command) {
        return refuse("only git-upload-pack and git-receive-pack are served.");
    }
    const auto repository = quernlight::standin::repositoryBelow(arguments.front(), command->repository);
    if (!repository || !std::filesystem::is_directory(*repository)) {
        return refuse("there is no repository '" + command->repository + "'.");
    }
    return serve(command->service, *repository);
}
