#pragma once

#include <string>

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

namespace quernlight::host {

/// The status of a command line that cannot be meant.
constexpr int wrongUsageStatus = 2;

/// What is wrong with a command line that `program` could not read, for people: names the first word that
/// does not belong there, and the one that was probably meant.
std::string usageSentence(const CLI::App& program, const CLI::ParseError& error);

}  // namespace quernlight::host
