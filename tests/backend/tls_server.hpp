#pragma once

#include <filesystem>
#include <string>

#include <sys/types.h>

#include "tests/support/temporary_directory.hpp"

namespace quernlight::test {

/// An https server on 127.0.0.1 with a certificate for that address and no name, which nobody but itself has
/// signed, made afresh. A process of its own, ended with the object.
class TlsServer {
  public:
    TlsServer();
    TlsServer(const TlsServer&) = delete;
    TlsServer& operator=(const TlsServer&) = delete;
    ~TlsServer();

    /// "https://127.0.0.1:PORT"
    std::string address() const { return "https://127.0.0.1:" + port_; }
    /// "https://localhost:PORT", which the certificate does not name.
    std::string addressByName() const { return "https://localhost:" + port_; }
    const std::filesystem::path& certificate() const { return certificate_; }

    /// From now on a request for "/NAME" gets these bytes, of which the head is a part.
    void answer(const std::string& name, const std::string& bytes) const;

  private:
    TemporaryDirectory directory_;
    std::filesystem::path certificate_ = directory_ / "certificate.pem";
    pid_t process_ = -1;
    std::string port_;
};

}  // namespace quernlight::test
