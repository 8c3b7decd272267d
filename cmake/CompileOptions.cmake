# An interface target carries how files of the project are compiled; installed users do not inherit it.
function(add_compile_options_target target sanitizers)
  add_library(${target} INTERFACE)
  target_compile_options(${target} INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
  if(QUERNLIGHT_WARNINGS_AS_ERRORS)
    target_compile_options(${target} INTERFACE -Werror)
  endif()
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    # A precompiled header that clang writes must not record time stamps, or ccache can never reuse it.
    target_compile_options(${target} INTERFACE "SHELL:-Xclang -fno-pch-timestamp")
  else()
    # GCC 12's warnings that follow the flow of optimised code are wrong inside its own string, vector and variant
    # (GCC bugs 105329, 105651, 105562) and in coroutine frames; clang and the sanitizers look for the same mistakes.
    target_compile_options(${target} INTERFACE -fpch-preprocess
      -Wno-restrict -Wno-stringop-overflow -Wno-stringop-overread -Wno-array-bounds -Wno-maybe-uninitialized
      -Wno-mismatched-new-delete)
    if(sanitizers MATCHES thread)
      # Asio's fences are not modelled by the thread sanitizer; GCC says so at each of them.
      target_compile_options(${target} INTERFACE -Wno-tsan)
    endif()
  endif()
  if(sanitizers)
    target_compile_options(${target} INTERFACE
      -fsanitize=${sanitizers} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  endif()
  if(QUERNLIGHT_SANITIZERS)
    target_link_options(${target} INTERFACE -fsanitize=${QUERNLIGHT_SANITIZERS})
    if(QUERNLIGHT_SANITIZERS MATCHES address AND CMAKE_SYSTEM_NAME STREQUAL Linux)
      # At a fixed address, a program with millions of the sanitizers' descriptions starts in 60% of the time, and the
      # tests start thousands.
      target_link_options(${target} INTERFACE -no-pie)
    endif()
  endif()
  if(QUERNLIGHT_COVERAGE) # of tests, too: the linker takes theirs of what stands in a header
    target_compile_options(${target} INTERFACE
      ${QUERNLIGHT_COVERAGE_FLAG} -fcoverage-mapping -fprofile-update=atomic)
    target_link_options(${target} INTERFACE ${QUERNLIGHT_COVERAGE_FLAG})
  endif()
endfunction()

# Clang's counting. The file's name is compiled in, for processes that tests start have an environment of their own; those
# of one program add to one file.
set(QUERNLIGHT_COVERAGE_FLAG "")
if(QUERNLIGHT_COVERAGE)
  set(QUERNLIGHT_COVERAGE_FLAG -fprofile-instr-generate=${CMAKE_BINARY_DIR}/profiles/%4m.profraw)
endif()
add_compile_options_target(quernlight_compile_options "${QUERNLIGHT_SANITIZERS}")
add_compile_options_target(test_compile_options "${QUERNLIGHT_TEST_SANITIZERS}")

