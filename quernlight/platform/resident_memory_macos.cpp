#include <mach/mach.h>

#include "quernlight/platform/resident_memory.hpp"

namespace quernlight {

std::optional<std::uint64_t> residentMemory() {
    mach_task_basic_info_data_t info{};
    mach_msg_type_number_t count = MACH_TASK_BASIC_INFO_COUNT;
    const kern_return_t told =
        task_info(mach_task_self(), MACH_TASK_BASIC_INFO, reinterpret_cast<task_info_t>(&info), &count);
    return told == KERN_SUCCESS ? std::optional<std::uint64_t>(info.resident_size) : std::nullopt;
}

}  // namespace quernlight
