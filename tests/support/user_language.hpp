#pragma once

#include <stdexcept>

#include <unicode/locid.h>

namespace quernlight::test {

/// Makes a language the user's until the end of the scope, whatever the environment says.
class ScopedUserLanguage {
  public:
    /// "tr_TR"; "" is the language of nobody.
    explicit ScopedUserLanguage(const char* name) {
        UErrorCode status = U_ZERO_ERROR;
        icu::Locale::setDefault(icu::Locale(name), status);
        if (U_FAILURE(status)) {
            throw std::runtime_error(u_errorName(status));
        }
    }
    ScopedUserLanguage(const ScopedUserLanguage&) = delete;
    ScopedUserLanguage& operator=(const ScopedUserLanguage&) = delete;
    ~ScopedUserLanguage() {
        UErrorCode status = U_ZERO_ERROR;
        icu::Locale::setDefault(before_, status);
    }

  private:
    const icu::Locale before_ = icu::Locale::getDefault();
};

}  // namespace quernlight::test
