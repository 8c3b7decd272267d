#pragma once

#include <curl/curl.h>

namespace quernlight {

/// What is used of libcurl, which is loaded when the first session begins: with the libraries that it needs
/// itself that takes longer than most commands.
struct CurlLibrary {
    decltype(&curl_global_init) globalInit = nullptr;
    decltype(&curl_easy_init) easyInit = nullptr;
    decltype(&curl_easy_cleanup) easyCleanup = nullptr;
    decltype(&curl_easy_setopt) easySetOption = nullptr;
    decltype(&curl_easy_getinfo) easyGetInfo = nullptr;
    decltype(&curl_easy_strerror) easyErrorText = nullptr;
    decltype(&curl_slist_append) listAppend = nullptr;
    decltype(&curl_slist_free_all) listFree = nullptr;
    decltype(&curl_multi_init) multiInit = nullptr;
    decltype(&curl_multi_cleanup) multiCleanup = nullptr;
    decltype(&curl_multi_add_handle) multiAdd = nullptr;
    decltype(&curl_multi_remove_handle) multiRemove = nullptr;
    decltype(&curl_multi_perform) multiPerform = nullptr;
    decltype(&curl_multi_poll) multiPoll = nullptr;
    decltype(&curl_multi_wakeup) multiWakeUp = nullptr;
    decltype(&curl_multi_info_read) multiReadInfo = nullptr;
    decltype(&curl_multi_strerror) multiErrorText = nullptr;
};

/// Loaded and initialised once, by the first call. Throws SharedLibraryError, bad_alloc. For any thread.
const CurlLibrary& curl();

/// The functions of the system's libcurl. Throws SharedLibraryError.
CurlLibrary loadCurl();

}  // namespace quernlight
