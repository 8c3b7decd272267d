#pragma once

#include <stdexcept>
#include <string>

namespace quernlight {

/// A request that got no complete HTTP answer: no connection, a certificate that is not trusted, a cut body,
/// no progress for too long or too little of it, a body beyond the bound. `what()` is one sentence; it holds
/// no header of the request.
class TransportError : public std::runtime_error {
  public:
    enum class Reason {
        failed,             // what the HTTP library says in the message
        timedOut,           // no progress within the session's time-out, or no end within its total one
        requestTooLarge,    // refused before sending: the body is larger than the session's bound
        answerTooLarge,     // the body is larger than the session's bound
        notHTTP,            // the other side does not speak HTTP
        lineBreakInHeader,  // refused before sending: a header value with a line break would smuggle in
                            // another
        sessionClosed,      // the session was destroyed meanwhile
    };

    enum class Sent { maybe, no };

    TransportError(Reason reason, const std::string& message, Sent sent = Sent::maybe)
        : std::runtime_error(message), reason_(reason), sent_(sent) {}

    Reason reason() const { return reason_; }

    /// Whether the other side may have got the request; when not, it can have done nothing about it.
    bool mayHaveArrived() const { return sent_ == Sent::maybe; }

  private:
    Reason reason_;
    Sent sent_;
};

}  // namespace quernlight
