#include "quernlight/backend/curl_library.hpp"

#include <new>

namespace quernlight {
namespace {

CurlLibrary initialised(CurlLibrary library) {
    if (library.globalInit(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
        throw std::bad_alloc();
    }
    return library;
}

}  // namespace

const CurlLibrary& curl() {
    static const CurlLibrary library = initialised(loadCurl());
    return library;
}

}  // namespace quernlight
