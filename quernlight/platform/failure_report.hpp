#pragma once

#include <exception>
#include <functional>
#include <string>

namespace quernlight {

/// Takes one report, a line without its end. Called on the thread that reports, on one at a time; must not
/// throw, wait, or report itself.
using FailureSink = std::function<void(const std::string& line)>;

/// Where reports go from now on; without a sink, to standard error. Once this returns, the sink before is not
/// called any more. Safe from any thread.
void setFailureSink(FailureSink sink);

/// Tells of an exception that nobody else will see, as "NAME: what happened", one line of at most 300
/// characters of it in which nothing acts on a terminal. Says nothing for a null pointer or for cancelled
/// work, which is no failure.
void reportFailure(const std::string& name, const std::exception_ptr& failure) noexcept;

}  // namespace quernlight
