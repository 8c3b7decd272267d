#include "host/process/core_dumps.hpp"

#include <sys/resource.h>

namespace quernlight::host {

void switchOffCoreDumps() {
    struct rlimit limit {};
    if (getrlimit(RLIMIT_CORE, &limit) == 0) {
        limit.rlim_cur = 0;
        setrlimit(RLIMIT_CORE, &limit);  // lowering one's own limit is always allowed
    }
}

}  // namespace quernlight::host
