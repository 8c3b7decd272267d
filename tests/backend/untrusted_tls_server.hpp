#pragma once

#include <string>

#include <sys/types.h>

#include "tests/support/temporary_directory.hpp"

namespace quernlight::test {

/// An https server on 127.0.0.1 that would answer anything, with a certificate for that address which nobody
/// but itself has signed, made afresh. A process of its own, ended with the object.
class UntrustedTlsServer {
  public:
    UntrustedTlsServer();
    UntrustedTlsServer(const UntrustedTlsServer&) = delete;
    UntrustedTlsServer& operator=(const UntrustedTlsServer&) = delete;
    ~UntrustedTlsServer();

    /// "https://127.0.0.1:PORT"
    std::string address() const { return "https://127.0.0.1:" + port_; }

  private:
    TemporaryDirectory directory_;
    pid_t process_ = -1;
    std::string port_;
};

}  // namespace quernlight::test
