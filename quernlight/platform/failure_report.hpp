#pragma once

#include <exception>
#include <string>

namespace quernlight {

/// Writes an exception that nobody else will see to standard error, as "NAME: what happened", one line
/// of at most 300 characters of it in which nothing acts on a terminal. Says nothing for a null pointer or
/// for cancelled work, which is no failure.
void reportFailure(const std::string& name, const std::exception_ptr& failure) noexcept;

}  // namespace quernlight
