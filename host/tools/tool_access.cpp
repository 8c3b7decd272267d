#include "host/tools/tool_access.hpp"

#include <algorithm>
#include <fstream>
#include <system_error>
#include <utility>

#include "host/process/private_files.hpp"
#include "host/process/secret.hpp"
#include "host/process/user_error.hpp"

namespace quernlight::host {
namespace {

constexpr double callsPerSecond = 10;
constexpr int callsAtOnce = 30;
constexpr std::size_t mostEnded = 200;

void writePrivate(const std::filesystem::path& file, const std::string& text) {
    std::error_code none;
    std::filesystem::remove(file, none);
    makePrivateFile(file);
    std::ofstream stream(file, std::ios::binary);
    stream << text << "\n";
    if (!stream.flush()) {
        throw UserError("The session's secret " + file.string() +
                        " cannot be written; check the directory's permissions or free some disk space.");
    }
}

}  // namespace

std::filesystem::path ToolAccess::grant(ToolGrant grant) {
    const std::filesystem::path file = toolSecretFile(grant.attemptDirectory);
    std::string secret = randomSecret();
    writePrivate(file, secret);
    const Uuid id = grant.sessionID;
    sessions_[id] =
        std::make_shared<ToolSession>(ToolSession{.grant = std::move(grant),
                                                  .secret = std::move(secret),
                                                  .rate = RateLimiter(callsPerSecond, callsAtOnce)});
    return file;
}

void ToolAccess::close(const Uuid& sessionID) {
    const auto session = this->session(sessionID);
    if (session && session->isLive) {
        session->isLive = false;
        std::error_code none;
        std::filesystem::remove(toolSecretFile(session->grant.attemptDirectory), none);
    }
}

void ToolAccess::revoke(const Uuid& sessionID) {
    const auto session = this->session(sessionID);
    if (!session || session->isRevoked) {
        return;
    }
    close(sessionID);
    session->isRevoked = true;
    session->grant.reported = [](const QLCommentDTO&) {};
    ended_.push_back(sessionID);
    if (ended_.size() > mostEnded) {
        sessions_.erase(ended_.front());
        ended_.pop_front();
    }
}

std::shared_ptr<ToolSession> ToolAccess::session(const Uuid& sessionID) const {
    const auto found = sessions_.find(sessionID);
    return found == sessions_.end() ? nullptr : found->second;
}

bool ToolAccess::knows(const std::string& secret) const {
    return std::ranges::any_of(sessions_, [&](const auto& named) { return opens(*named.second, secret); });
}

bool ToolAccess::opens(const ToolSession& session, const std::string& secret) {
    return session.isLive && areEqualSecrets(session.secret, secret);
}

std::filesystem::path toolSecretFile(const std::filesystem::path& attemptDirectory) {
    return attemptDirectory / "tool-secret";
}

std::vector<std::string> toolServerCommand(const std::filesystem::path& program,
                                           const std::filesystem::path& home, const Uuid& sessionID,
                                           const std::filesystem::path& secretFile) {
    return {program.string(),         "mcp",           "--home",           home.string(), "--session",
            upperCaseText(sessionID), "--secret-file", secretFile.string()};
}

}  // namespace quernlight::host
