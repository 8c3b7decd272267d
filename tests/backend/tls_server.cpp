#include "tests/backend/tls_server.hpp"

#include <csignal>
#include <stdexcept>
#include <vector>

#include <fcntl.h>
#include <sys/wait.h>

#include "quernlight/platform/file_descriptor.hpp"
#include "quernlight/platform/spawn.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight::test {
namespace {

/// openssl in the folder of its output, whose files its server serves.
pid_t startOpenssl(std::vector<std::string> arguments, const std::filesystem::path& outputFile) {
    arguments.insert(arguments.begin(), "openssl");
    const FileDescriptor output(open(outputFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    return spawnProcess({.executable = "/usr/bin/openssl",
                         .arguments = std::move(arguments),
                         .environment = {"PATH=/usr/bin:/bin"},
                         .workingDirectory = outputFile.parent_path(),
                         .streams = DescriptorStreams{.output = output.get(), .error = output.get()}});
}

void makeCertificate(const std::string& key, const std::string& certificate, const std::string& log) {
    const pid_t maker =
        startOpenssl({"req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
                      "-keyout", key, "-out", certificate, "-subj", "/CN=127.0.0.1", "-addext",
                      "subjectAltName=IP:127.0.0.1", "-days", "2"},
                     log);
    int status = 0;
    waitpid(maker, &status, 0);
    if (exitCodeOfWaitStatus(status) != 0) {
        throw std::runtime_error("no certificate could be made: " + readFile(log));
    }
}

/// The port of "ACCEPT 127.0.0.1:PORT"; empty while the line is not complete.
std::string announcedPort(const std::string& output) {
    const std::string announcement = "ACCEPT 127.0.0.1:";
    const auto begin = output.find(announcement);
    const auto end = begin == std::string::npos ? begin : output.find('\n', begin);
    if (end == std::string::npos) {
        return {};
    }
    return output.substr(begin + announcement.size(), end - begin - announcement.size());
}

}  // namespace

TlsServer::TlsServer() {
    const std::string key = directory_ / "key.pem";
    const std::string log = directory_ / "log";
    makeCertificate(key, certificate_, log);
    process_ = startOpenssl(
        {"s_server", "-accept", "127.0.0.1:0", "-key", key, "-cert", certificate_, "-HTTP"}, log);
    eventually([&] { return !(port_ = announcedPort(readFile(log))).empty(); });
}

TlsServer::~TlsServer() {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
}

void TlsServer::answer(const std::string& name, const std::string& bytes) const {
    writeFile(directory_ / name, bytes);
}

}  // namespace quernlight::test
