#include <chrono>
#include <future>
#include <optional>

#include <sched.h>
#include <sys/mount.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quernlight/backend/http_session.hpp"
#include "tests/backend/tls_server.hpp"
#include "tests/support/recording_server.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight {
namespace {

using namespace std::chrono_literals;
using namespace test;
using testing::HasSubstr;
using Reason = TransportError::Reason;

/// Whom a session trusts with a request.
class HttpCertificatesTest : public testing::Test {
  protected:
    static HttpResponse get(const std::string& url, HttpSession::Options options = {}) {
        HttpRequest request{.method = "GET", .url = Url::parse(url).value()};
        request.headers = {{"Authorization", "Bearer secret-token"}};
        HttpSession session(options);
        return runTask(session.send(std::move(request)));
    }

    static std::optional<TransportError> failure(const std::string& url, HttpSession::Options options = {}) {
        try {
            get(url, options);
        } catch (const TransportError& error) {
            return error;
        }
        return std::nullopt;
    }

    static void expectRefusedCertificate(const std::string& url, const std::string& reason) {
        const std::optional<TransportError> error = failure(url);
        ASSERT_TRUE(error) << "the request was answered";
        EXPECT_EQ(error->reason(), Reason::failed);
        EXPECT_THAT(error->what(), HasSubstr(reason));
    }

    TlsServer tls;
    RecordingServer server;
};

TEST_F(HttpCertificatesTest, ACertificateThatNobodyVouchesForIsRefused) {
    expectRefusedCertificate(tls.address() + "/v1/apps", "self-signed certificate");
}

TEST_F(HttpCertificatesTest, ARedirectToACertificateThatNobodyVouchesForIsRefused) {
    server.answer({.status = 302, .headers = {{"Location", tls.address()}}});
    expectRefusedCertificate(server.address(), "self-signed certificate");
}

TEST_F(HttpCertificatesTest, AServerThatSpeaksNoTLSNeverSeesTheRequest) {
    const std::optional<TransportError> error =
        failure("https://127.0.0.1:" + std::to_string(server.port()), {.timeout = 200ms});
    ASSERT_TRUE(error);
    EXPECT_EQ(error->reason(), Reason::timedOut);
    EXPECT_TRUE(server.requests().empty());
}

/// The certificate is one that the machine trusts: on one thread, which sees the machine's list of
/// certificates replaced. Only root can do that, and only where "/" is a mount (in a plain chroot it is not).
class HttpTrustedCertificateTest : public HttpCertificatesTest {
  protected:
    template <class Work>
    void whereTheCertificateIsTrusted(Work work) {
        auto worked = std::async(std::launch::async, [&] {
            const bool trusted = trustCertificate();
            if (trusted) {
                work();
            }
            return trusted;
        });
        if (!worked.get()) {
            GTEST_SKIP() << "replacing " << list << " needs root, and a \"/\" that is a mount";
        }
    }

  private:
    static constexpr const char* list = "/etc/ssl/certs/ca-certificates.crt";

    bool trustCertificate() const {
        return unshare(CLONE_NEWNS) == 0 && mount("", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
               mount(tls.certificate().c_str(), list, nullptr, MS_BIND, nullptr) == 0;
    }
};

TEST_F(HttpTrustedCertificateTest, ItsHostIsAnswered) {
    tls.answer("health", "HTTP/1.0 200 OK\r\nContent-Length: 4\r\n\r\nwell");
    whereTheCertificateIsTrusted([&] {
        EXPECT_EQ(get(tls.address() + "/health"), (HttpResponse{200, "well"}));
    });
}

TEST_F(HttpTrustedCertificateTest, AnotherHostThatShowsItIsRefused) {
    tls.answer("health", "HTTP/1.0 200 OK\r\nContent-Length: 4\r\n\r\nwell");
    whereTheCertificateIsTrusted(
        [&] { expectRefusedCertificate(tls.addressByName() + "/health", "'localhost'"); });
}

TEST_F(HttpTrustedCertificateTest, ARedirectFromHttpsToHttpDoesNotCarryTheToken) {
    tls.answer("health",
               "HTTP/1.0 302 Found\r\nContent-Length: 0\r\nLocation: " + server.address() + "/plain\r\n\r\n");
    server.answer({.body = "well"});
    whereTheCertificateIsTrusted([&] {
        EXPECT_EQ(get(tls.address() + "/health"), (HttpResponse{200, "well"}));
        const std::vector<RecordedRequest> requests = server.requests();
        ASSERT_EQ(requests.size(), 1U);
        EXPECT_EQ(requests.front().line(), "GET /plain");
        EXPECT_EQ(requests.front().header("Authorization"), std::nullopt);
    });
}

}  // namespace
}  // namespace quernlight
