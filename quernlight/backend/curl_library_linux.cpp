#include "quernlight/backend/curl_library.hpp"
#include "quernlight/platform/shared_library.hpp"

namespace quernlight {

CurlLibrary loadCurl() {
    const SharedLibrary library("libcurl.so.4");
    CurlLibrary curl;
    library.find(curl.globalInit, "curl_global_init");
    library.find(curl.easyInit, "curl_easy_init");
    library.find(curl.easyCleanup, "curl_easy_cleanup");
    library.find(curl.easySetOption, "curl_easy_setopt");
    library.find(curl.easyGetInfo, "curl_easy_getinfo");
    library.find(curl.easyErrorText, "curl_easy_strerror");
    library.find(curl.listAppend, "curl_slist_append");
    library.find(curl.listFree, "curl_slist_free_all");
    library.find(curl.multiInit, "curl_multi_init");
    library.find(curl.multiCleanup, "curl_multi_cleanup");
    library.find(curl.multiAdd, "curl_multi_add_handle");
    library.find(curl.multiRemove, "curl_multi_remove_handle");
    library.find(curl.multiPerform, "curl_multi_perform");
    library.find(curl.multiPoll, "curl_multi_poll");
    library.find(curl.multiWakeUp, "curl_multi_wakeup");
    library.find(curl.multiReadInfo, "curl_multi_info_read");
    library.find(curl.multiErrorText, "curl_multi_strerror");
    return curl;
}

}  // namespace quernlight
