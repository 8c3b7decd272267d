#include "tests/support/standin/hosted_repository.hpp"

#include <cstdlib>
#include <stdexcept>

#include <fcntl.h>
#include <sys/wait.h>

#include "quernlight/platform/file_descriptor.hpp"
#include "quernlight/platform/spawn.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::standin::test {
namespace {

std::string gitConfiguration(const std::filesystem::path& served) {
    return "[core]\n\tsshCommand = " STANDIN_GIT_TRANSPORT_PATH " " + served.string() +
           "\n[ssh]\n\tvariant = simple\n[user]\n\tname = Tester\n\temail = tester@example.org\n"
           "[init]\n\tdefaultBranch = main\n";
}

}  // namespace

HostedRepository::HostedRepository() {
    environment_ = {std::string("PATH=") + std::getenv("PATH"), "HOME=" + temporary_.path().string(),
                    "GIT_CONFIG_NOSYSTEM=1"};
    quernlight::test::writeFile(temporary_ / ".gitconfig", gitConfiguration(temporary_ / "served"));
    quernlight::test::writeFile(directory() / "README", "A shop.\n");
    std::filesystem::create_directories(bare());
    git(bare(), {"init", "--quiet", "--bare"});
    git({"init", "--quiet"});
    git({"add", "README"});
    git({"commit", "--quiet", "-m", "Begin"});
    git({"remote", "add", "origin", "git@git.example:acme/shop.git"});
    git({"push", "--quiet", "origin", "main"});
}

std::string HostedRepository::git(const std::filesystem::path& directory,
                                  const std::vector<std::string>& arguments) const {
    const std::string outputPath = (temporary_ / "git-output").string();
    const FileDescriptor output(open(outputPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    SpawnRequest request{
        .executable = "/usr/bin/env",
        .arguments = {"/usr/bin/env", "git", "-C", directory.string()},
        .environment = environment_,
        .workingDirectory = {},
        .streams = DescriptorStreams{.input = -1, .output = output.get(), .error = output.get()}};
    request.arguments.insert(request.arguments.end(), arguments.begin(), arguments.end());
    int status = 0;
    waitpid(spawnProcess(request), &status, 0);
    std::string printed(trimmed(quernlight::test::readFile(outputPath)));
    if (status != 0) {
        throw std::runtime_error("git " + arguments.front() + ": " + printed);
    }
    return printed;
}

}  // namespace quernlight::standin::test
