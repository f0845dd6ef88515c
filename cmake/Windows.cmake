# The Windows build (cmake/toolchains/mingw-w64-x86_64.cmake): every program and DLL in one
# folder, bin/, beside the compiler's run-time DLLs, so that each finds the others the way the
# Windows loader looks for them (the program's own folder first), under Wine as on Windows.

set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)

# The run-time DLLs of the posix-thread MinGW-w64 compilers that every program and DLL built here
# imports. They travel with the package (cmake/Install.cmake).
set(ZT_MINGW_RUNTIME_DLLS)
foreach(dll libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${dll}
    OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT IS_ABSOLUTE "${path}" OR NOT EXISTS "${path}")
    message(FATAL_ERROR "${CMAKE_CXX_COMPILER} does not know where ${dll} is")
  endif()
  get_filename_component(path ${path} REALPATH)
  list(APPEND ZT_MINGW_RUNTIME_DLLS ${path})
  file(COPY ${path} DESTINATION ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
endforeach()

# Programs run under Wine (tests, the tool in the tests), through one script that keeps a private
# Wine prefix inside the build folder.
set(CMAKE_CROSSCOMPILING_EMULATOR ${PROJECT_SOURCE_DIR}/scripts/wine-run.sh ${PROJECT_BINARY_DIR}/wineprefix)

# Definitions every file is compiled with (the compile checks of tests/compile_fail too):
# - NOMINMAX: the library and its tests use std::min and std::max, which the min and max macros
#   of <windows.h> would replace;
# - CERT_CHAIN_PARA_HAS_EXTRA_FIELDS: CERT_CHAIN_PARA with its fields after RequestedUsage (the
#   URL retrieval timeout), which <wincrypt.h> declares only on request, before any header
#   includes it (platform/certificates.h).
set(ZT_PLATFORM_DEFINITIONS NOMINMAX CERT_CHAIN_PARA_HAS_EXTRA_FIELDS)
add_compile_definitions(${ZT_PLATFORM_DEFINITIONS})
