# Finds the inference runtime: its headers at build time, its shared library at run time (it is loaded, never
# linked, so that a newer library serves).  The set-up script puts both below build/deps/onnxruntime where the
# distribution does not carry them.

set(VARNEL_ONNXRUNTIME_DIR ${CMAKE_SOURCE_DIR}/build/deps/onnxruntime CACHE PATH
  "Folder with include/ and lib/ of ONNX Runtime")

find_path(VARNEL_ONNXRUNTIME_INCLUDE onnxruntime_cxx_api.h
  HINTS ${VARNEL_ONNXRUNTIME_DIR}/include PATH_SUFFIXES onnxruntime onnxruntime/core/session)
find_file(VARNEL_ONNXRUNTIME_LIBRARY NAMES libonnxruntime.so.1 libonnxruntime.so
  HINTS ${VARNEL_ONNXRUNTIME_DIR}/lib PATHS /usr/lib/x86_64-linux-gnu /usr/lib/aarch64-linux-gnu /usr/lib)
if(NOT VARNEL_ONNXRUNTIME_INCLUDE OR NOT VARNEL_ONNXRUNTIME_LIBRARY)
  message(FATAL_ERROR "ONNX Runtime was not found. Run tools/setup/install.sh, or set VARNEL_ONNXRUNTIME_DIR.")
endif()

add_library(varnel_onnxruntime INTERFACE)
target_include_directories(varnel_onnxruntime SYSTEM INTERFACE ${VARNEL_ONNXRUNTIME_INCLUDE})
target_compile_definitions(varnel_onnxruntime INTERFACE
  ORT_API_MANUAL_INIT VARNEL_ONNXRUNTIME_LIBRARY="${VARNEL_ONNXRUNTIME_LIBRARY}")
install(FILES ${VARNEL_ONNXRUNTIME_LIBRARY} DESTINATION ${CMAKE_INSTALL_LIBDIR}/varnel RENAME libonnxruntime.so.1)
