# Options, warnings, sanitizers and the compiler cache: everything that holds for every target.

option(VARNEL_WERROR "Treat warnings as errors" OFF)
option(VARNEL_BENCHMARKS "Build the benchmarks" OFF)
option(VARNEL_FUZZ "Build the fuzz targets (clang only)" OFF)
set(VARNEL_SANITIZE "" CACHE STRING "Sanitizers to build with, e.g. 'address,undefined' or 'thread'")

# Every preset lives below build/, so that the cache can serve one checkout's objects to another.
find_program(VARNEL_CCACHE ccache)
if(VARNEL_CCACHE)
  foreach(language C CXX)
    set(CMAKE_${language}_COMPILER_LAUNCHER
      ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${CMAKE_SOURCE_DIR} CCACHE_NOHASHDIR=1
      CCACHE_SLOPPINESS=pch_defines,time_macros ${VARNEL_CCACHE})
  endforeach()
endif()

add_library(varnel_options INTERFACE)
target_compile_options(varnel_options INTERFACE -Wall -Wextra -Wconversion -Wshadow -Wnon-virtual-dtor
  # GCC 12 sees overlapping copies in optimised string concatenation that are not there (GCC bug 105651).
  $<$<CONFIG:Release>:-Wno-restrict>)
if(VARNEL_WERROR)
  target_compile_options(varnel_options INTERFACE -Werror)
endif()
if(VARNEL_SANITIZE)
  target_compile_options(varnel_options INTERFACE
    -fsanitize=${VARNEL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(varnel_options INTERFACE -fsanitize=${VARNEL_SANITIZE})
endif()
if(VARNEL_FUZZ)
  target_compile_options(varnel_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# Compiles headers of others once for all sources of a target. Sources include what they use all the same.
function(varnel_precompile target)
  target_precompile_headers(${target} PRIVATE ${ARGN})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${target} PRIVATE -fpch-preprocess) # lets ccache see what the header stands for
  endif()
endfunction()
