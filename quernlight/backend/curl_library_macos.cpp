#include "quernlight/backend/curl_library.hpp"

namespace quernlight {

/// Part of the system, which has it loaded for everyone.
CurlLibrary loadCurl() {
    return {.globalInit = &curl_global_init,
            .easyInit = &curl_easy_init,
            .easyCleanup = &curl_easy_cleanup,
            .easySetOption = &curl_easy_setopt,
            .easyGetInfo = &curl_easy_getinfo,
            .easyErrorText = &curl_easy_strerror,
            .listAppend = &curl_slist_append,
            .listFree = &curl_slist_free_all,
            .multiInit = &curl_multi_init,
            .multiCleanup = &curl_multi_cleanup,
            .multiAdd = &curl_multi_add_handle,
            .multiRemove = &curl_multi_remove_handle,
            .multiPerform = &curl_multi_perform,
            .multiPoll = &curl_multi_poll,
            .multiWakeUp = &curl_multi_wakeup,
            .multiReadInfo = &curl_multi_info_read,
            .multiErrorText = &curl_multi_strerror};
}

}  // namespace quernlight
