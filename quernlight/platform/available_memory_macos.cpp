#include <mach/mach.h>

#include "quernlight/platform/available_memory.hpp"

namespace quernlight {

/// Free pages and those that the system gives up before it swaps (vm_stat(1)).
std::optional<std::uint64_t> availableMemory() {
    vm_statistics64_data_t statistics{};
    mach_msg_type_number_t count = HOST_VM_INFO64_COUNT;
    vm_size_t pageSize = 0;
    const mach_port_t host = mach_host_self();
    if (host_page_size(host, &pageSize) != KERN_SUCCESS ||
        host_statistics64(host, HOST_VM_INFO64, reinterpret_cast<host_info64_t>(&statistics), &count) !=
            KERN_SUCCESS) {
        return std::nullopt;
    }
    const std::uint64_t pages =
        std::uint64_t{statistics.free_count} + statistics.inactive_count + statistics.purgeable_count;
    return pages * pageSize;
}

}  // namespace quernlight
