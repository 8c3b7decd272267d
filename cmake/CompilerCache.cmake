# ccache makes a second build of an unchanged file free; with precompiled headers it needs to be told that
# the header's own time stamp and the macros __DATE__ and __TIME__ do not matter here.
find_program(QUERNLIGHT_CCACHE ccache)
if(QUERNLIGHT_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER
      ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
      ${QUERNLIGHT_CCACHE})
endif()
