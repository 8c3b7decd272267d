#pragma once

#include <filesystem>
#include <fstream>
#include <string>

#include <sys/types.h>

#include "tests/support/run_task.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::test {

/// A hook or a filter that never ends when it is run for the first time, and afterwards changes nothing.
class BlockingScript {
  public:
    explicit BlockingScript(std::filesystem::path path) : path_(std::move(path)) {
        writeFile(path_,
                  "#!/bin/sh\n[ -e \"$0.pid\" ] && exec cat\n"
                  "echo $$ > \"$0.new\"\nmv \"$0.new\" \"$0.pid\"\nexec sleep 6000\n");
        std::filesystem::permissions(path_, std::filesystem::perms::owner_all);
    }

    std::string path() const { return path_.string(); }

    bool hasBegun() const { return std::filesystem::exists(path() + ".pid"); }

    /// Its process, once it runs; -1 when it never does.
    pid_t pid() const {
        pid_t pid = -1;
        eventually([&] { return hasBegun(); });
        std::ifstream(path() + ".pid") >> pid;
        return pid;
    }

  private:
    const std::filesystem::path path_;
};

}  // namespace quernlight::test
