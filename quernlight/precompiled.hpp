#pragma once

// What nearly every file of the library reads; compiled once. Never included by name.

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include <boost/asio.hpp>
#include <boost/uuid/uuid.hpp>
