#pragma once

#include <boost/asio/awaitable.hpp>

namespace quernlight {

/// What every public asynchronous operation returns. Lazy: nothing happens before it is awaited. It runs on
/// the executor of the coroutine that awaits it and leaves that executor only where an operation says so.
template <class Result = void>
using Task = boost::asio::awaitable<Result>;

}  // namespace quernlight
