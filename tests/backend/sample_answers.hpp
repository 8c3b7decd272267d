#pragma once

#include <string>

#include <boost/json/object.hpp>

namespace quernlight::test {

// Answers of a backend with every required key, for tests to change what they are about.

boost::json::object appJSON();
boost::json::object bugJSON(const std::string& id = "3f2a9c1d",
                            const std::string& createdAt = "2026-03-01T10:20:30Z");
boost::json::object detailedBugJSON(const std::string& id = "3f2a9c1d");
boost::json::object attachmentJSON();
boost::json::object commentJSON(const std::string& body = "Done.");

/// {"key": value} as text.
std::string wrapped(const std::string& key, boost::json::value value);

std::string bugListJSON(boost::json::array bugs);
std::string bugDetailJSON(boost::json::array comments = {});
std::string createdBugJSON();

}  // namespace quernlight::test
