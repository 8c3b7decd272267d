#include "host/control/control_socket.hpp"

#include <cerrno>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <boost/asio/local/stream_protocol.hpp>

#include "host/process/home_lock.hpp"
#include "host/process/user_error.hpp"

namespace quernlight::host {
namespace {

using boost::asio::local::stream_protocol;

constexpr std::size_t longestPath = sizeof(sockaddr_un::sun_path) - 1;

void refuseLongPath(const std::filesystem::path& path) {
    const std::size_t length = path.native().size();
    if (isTooLongForSocket(path)) {
        throw UserError("The dispatch home's path is too long: its socket " + path.string() + " would have " +
                        std::to_string(length) + " bytes, and the system allows " +
                        std::to_string(longestPath) + "; choose a shorter one with --home.");
    }
}

void removeSocketOfDeadOwner(const std::filesystem::path& path) {
    struct stat found {};
    if (lstat(path.c_str(), &found) != 0) {
        return;
    }
    if (!S_ISSOCK(found.st_mode)) {
        throw UserError("There is something else where the dispatcher's socket belongs: " + path.string() +
                        "; move it away.");
    }
    unlink(path.c_str());
}

}  // namespace

std::filesystem::path controlSocketPath(const std::filesystem::path& home) {
    return home / "control.sock";
}

bool isTooLongForSocket(const std::filesystem::path& path) {
    return path.native().size() > longestPath;
}

ControlSocket::ControlSocket(const boost::asio::any_io_executor& executor, const std::filesystem::path& home)
    : path_(controlSocketPath(home)), acceptor_(executor) {
    refuseLongPath(path_);
    removeSocketOfDeadOwner(path_);
    acceptor_.open(stream_protocol());
    fcntl(acceptor_.native_handle(), F_SETFD, FD_CLOEXEC);
    boost::system::error_code error;
    acceptor_.bind(stream_protocol::endpoint(path_.string()), error);
    struct stat made {};
    // Nobody can connect before it listens, so nobody gets in while the file is still open to others.
    if (error || chmod(path_.c_str(), S_IRUSR | S_IWUSR) != 0 || lstat(path_.c_str(), &made) != 0) {
        throw unwritableHome(home, error ? error.value() : errno);
    }
    device_ = made.st_dev;
    file_ = made.st_ino;
    acceptor_.listen();
}

ControlSocket::~ControlSocket() {
    struct stat found {};
    if (lstat(path_.c_str(), &found) == 0 && found.st_dev == device_ && found.st_ino == file_) {
        unlink(path_.c_str());
    }
}

}  // namespace quernlight::host
