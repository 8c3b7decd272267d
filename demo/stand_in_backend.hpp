#pragma once

#include <string>

#include <sys/types.h>

#include "demo/directory.hpp"
#include "demo/environment.hpp"
#include "quernlight/platform/file_descriptor.hpp"
#include "quernlight/platform/task.hpp"
#include "quernlight/platform/url.hpp"

namespace quernlight::demo {

/// The stand-in backend as a process of its own, seeded with the demo's bugs. It ends with this object, and
/// by itself should this program be killed, for it watches its standard input.
class StandInBackend {
  public:
    /// Starts it; `url` is known once `waitUntilItListens` has returned. Throws UserError.
    StandInBackend(const DemoDirectory& directory, const StandInPrograms& programs);
    StandInBackend(const StandInBackend&) = delete;
    StandInBackend& operator=(const StandInBackend&) = delete;
    ~StandInBackend();

    /// Throws UserError when it ends or stays silent.
    Task<void> waitUntilItListens();

    const Url& url() const { return url_; }

  private:
    FileDescriptor input_;   // closing it ends the process
    FileDescriptor output_;  // where it says its address
    pid_t process_ = -1;
    Url url_;
};

}  // namespace quernlight::demo
