#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>
#include <boost/json/object.hpp>

#include "quernlight/platform/file_descriptor.hpp"
#include "standin/codex/backend.hpp"

namespace quernlight::standin::codex {

/// Reaches the bug through a tool server (Model Context Protocol on standard input and output) that it starts
/// and that ends with it. Blocks; every failure is a std::runtime_error with a sentence, the tool's own where
/// there is one.
class ToolServer final : public BugAccess {
  public:
    /// `command` is the program, by its path, and its arguments.
    explicit ToolServer(const std::vector<std::string>& command);
    ToolServer(const ToolServer&) = delete;
    ToolServer& operator=(const ToolServer&) = delete;
    ~ToolServer() override;

    std::string fetchBug(const std::string& bugID) override;
    void setStatus(const std::string& bugID, const std::string& statusJSON) override;
    void postComment(const std::string& bugID, const std::string& commentJSON) override;

  private:
    std::string call(std::string_view tool, const std::string& bugID, const std::string& argumentsJSON);
    boost::json::object ask(std::string_view method, boost::json::object params);
    void send(const boost::json::object& message);
    std::string readLine();

    FileDescriptor input_;
    FileDescriptor output_;
    pid_t child_ = -1;
    int lastID_ = 0;
    std::string buffer_;
};

}  // namespace quernlight::standin::codex
