#include "tests/support/session_keyring.hpp"

#include <csignal>

#include <fcntl.h>
#include <sys/wait.h>
#include <gtest/gtest.h>

#include "quernlight/platform/file_descriptor.hpp"
#include "quernlight/platform/spawn.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight::test {

SessionKeyring::~SessionKeyring() {
    while (!daemons_.empty()) {
        stopService();
    }
}

void SessionKeyring::startBus() {
    writeFile(directory / "bus.conf",
              "<busconfig><type>session</type><listen>" + busAddress() +
                  "</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow send_destination=\"*\" "
                  "eavesdrop=\"true\"/><allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>");
    daemons_.push_back(
        spawn("/usr/bin/dbus-daemon",
              {"dbus-daemon", "--nofork", "--config-file=" + (directory / "bus.conf").string()}, "",
              directory / "daemon.log"));
    ASSERT_TRUE(eventually([&] { return std::filesystem::exists(directory / "bus"); }));
    environment.push_back("DBUS_SESSION_BUS_ADDRESS=" + busAddress());
}

void SessionKeyring::startService() {
    daemons_.push_back(spawn("/usr/bin/gnome-keyring-daemon",
                             {"gnome-keyring-daemon", "--foreground", "--components=secrets"}, "",
                             directory / "daemon.log"));
}

void SessionKeyring::startService(const std::string& password) {
    std::filesystem::create_directories(directory / "data");
    daemons_.push_back(spawn("/usr/bin/gnome-keyring-daemon",
                             {"gnome-keyring-daemon", "--foreground", "--unlock", "--components=secrets"},
                             password, directory / "daemon.log"));
}

void SessionKeyring::stopService() {
    kill(daemons_.back(), SIGKILL);
    waitpid(daemons_.back(), nullptr, 0);
    daemons_.pop_back();
}

pid_t SessionKeyring::spawn(const std::string& program, const std::vector<std::string>& arguments,
                            const std::string& input, const std::filesystem::path& outputFile) {
    const auto inputFile = directory / ("input-" + std::to_string(++spawned_));
    writeFile(inputFile, input);
    const FileDescriptor in(open(inputFile.c_str(), O_RDONLY | O_CLOEXEC));
    const FileDescriptor out(open(outputFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    return spawnProcess({.executable = program,
                         .arguments = arguments,
                         .environment = environment,
                         .streams = DescriptorStreams{.input = in.get(), .output = out.get()}});
}

}  // namespace quernlight::test
