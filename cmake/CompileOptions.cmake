# One interface target carries how every file of the project is compiled; installed users do not inherit it.
add_library(quernlight_compile_options INTERFACE)
target_compile_options(quernlight_compile_options INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(QUERNLIGHT_WARNINGS_AS_ERRORS)
  target_compile_options(quernlight_compile_options INTERFACE -Werror)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  # A precompiled header that clang writes must not record time stamps, or ccache can never reuse it.
  target_compile_options(quernlight_compile_options INTERFACE "SHELL:-Xclang -fno-pch-timestamp")
else()
  # GCC 12's warnings that follow the flow of optimised code are wrong inside its own string, vector and variant
  # (GCC bugs 105329, 105651, 105562) and in coroutine frames; clang and the sanitizers look for the same mistakes.
  target_compile_options(quernlight_compile_options INTERFACE -fpch-preprocess
    -Wno-restrict -Wno-stringop-overflow -Wno-stringop-overread -Wno-array-bounds -Wno-maybe-uninitialized -Wno-mismatched-new-delete)
  if(QUERNLIGHT_SANITIZERS MATCHES thread)
    # Asio's fences are not modelled by the thread sanitizer; GCC says so at each of them.
    target_compile_options(quernlight_compile_options INTERFACE -Wno-tsan)
  endif()
endif()
if(QUERNLIGHT_SANITIZERS)
  target_compile_options(quernlight_compile_options INTERFACE
    -fsanitize=${QUERNLIGHT_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(quernlight_compile_options INTERFACE -fsanitize=${QUERNLIGHT_SANITIZERS})
endif()
if(QUERNLIGHT_COVERAGE)
  target_compile_options(quernlight_compile_options INTERFACE --coverage -fprofile-update=atomic)
  target_link_options(quernlight_compile_options INTERFACE --coverage)
endif()
