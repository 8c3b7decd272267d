#include "host/commands/owner_call.hpp"

#include <chrono>

#include <boost/json/parse.hpp>

#include "host/control/other_version.hpp"

namespace quernlight::host {
namespace {

constexpr std::chrono::seconds timeout{20};

}  // namespace

UserError noDispatcher(const std::filesystem::path& home) {
    return UserError("No dispatcher is running for " + home.string() +
                     ". Start it with: quernlight-dispatch run");
}

UserError misunderstood() {
    return UserError(ownerOfAnotherVersion);
}

Task<boost::json::value> ownersAnswer(std::filesystem::path home, ControlRequest request) {
    const ControlResponse response = co_await askOwner(std::move(home), std::move(request), timeout);
    if (const auto refusal = problemOf(response)) {
        throw UserError(refusal->detail);
    }
    boost::system::error_code error;
    boost::json::value answer = boost::json::parse(response.body, error);
    if (error) {
        throw misunderstood();
    }
    co_return answer;
}

}  // namespace quernlight::host
