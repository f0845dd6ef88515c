# The Windows lane of the tests (included by tests/CMakeLists.txt when building for Windows):
# GoogleTest built for the target from Debian's sources, each test program registered as one
# test that runs under Wine (the build's CMAKE_CROSSCOMPILING_EMULATOR), and the exceptions of
# tests/windows/exceptions.txt left out. A new test folder or file joins the lane as it joins the
# Linux suite, with no change here.

# GoogleTest and GoogleMock from Debian's googletest package, built with the cross compiler.
set(ZT_GOOGLETEST_SOURCE /usr/src/googletest CACHE PATH "GoogleTest's sources (Debian package googletest)")
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
set(BUILD_GMOCK ON CACHE BOOL "" FORCE)
add_subdirectory(${ZT_GOOGLETEST_SOURCE} ${CMAKE_CURRENT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
foreach(library gtest gtest_main gmock gmock_main)
  if(NOT TARGET GTest::${library})
    add_library(GTest::${library} ALIAS ${library})
  endif()
endforeach()

# GCC 12 at -O2 warns of overlapping copies inside std::string's operator+ where there are none
# (GCC bug 105329); the Linux suite builds without optimisation and does not meet it.
add_compile_options(-Wno-restrict)

# The exceptions: "<what> <kind>: <reason>" a line. <what> is a test folder (tests/<family>/) or
# a test source (tests/<family>/<file>.cpp), which the lane does not build, or a GoogleTest
# filter pattern (Suite.Name, with * and ?), which it builds and does not run; "tool:<name>" lines
# are the tool comparison's (compare-tools.sh).
set(ZT_WINDOWS_EXCEPTIONS ${CMAKE_CURRENT_LIST_DIR}/exceptions.txt)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${ZT_WINDOWS_EXCEPTIONS})
file(STRINGS ${ZT_WINDOWS_EXCEPTIONS} lines REGEX "^[^# \t]")
list(FILTER lines EXCLUDE REGEX "^tool:")  # the tool comparison's own (compare-tools.sh)
set(ZT_WINDOWS_UNBUILT)
set(ZT_WINDOWS_UNRUN)
foreach(line IN LISTS lines)
  if(NOT line MATCHES "^([^ \t]+)[ \t]+(seam|openssl|wine|wine-differs):[ \t]+[^ \t]")
    message(FATAL_ERROR "${ZT_WINDOWS_EXCEPTIONS}: not \"<what> <kind>: <reason>\": ${line}")
  endif()
  set(what ${CMAKE_MATCH_1})
  if(what MATCHES "^tests/")
    list(APPEND ZT_WINDOWS_UNBUILT ${PROJECT_SOURCE_DIR}/${what})
  else()
    list(APPEND ZT_WINDOWS_UNRUN ${what})
  endif()
endforeach()
list(JOIN ZT_WINDOWS_UNRUN ":" ZT_WINDOWS_FILTER)
set(ZT_WINDOWS_FILTER "*-${ZT_WINDOWS_FILTER}")

# The sources of test folder `name` that the lane builds, in place in `var`.
function(zt_windows_sources var name)
  set(kept)
  foreach(source IN LISTS ${var})
    set(excluded FALSE)
    foreach(unbuilt IN LISTS ZT_WINDOWS_UNBUILT)
      if(source STREQUAL unbuilt OR (unbuilt MATCHES "/$" AND source MATCHES "^${unbuilt}"))
        set(excluded TRUE)
      endif()
    endforeach()
    if(NOT excluded)
      list(APPEND kept ${source})
    endif()
  endforeach()
  set(${var} ${kept} PARENT_SCOPE)
endfunction()

# One test that runs the whole program under Wine, but for the exceptions. ARGN: further test
# properties (a resource lock).
function(zt_windows_test target)
  add_test(NAME ${target} COMMAND ${target} --gtest_filter=${ZT_WINDOWS_FILTER} --gtest_brief=1)
  # Passed means GoogleTest's closing line was printed and no test failed: a program that Wine ends
  # early may still exit with 0, and one that ran no test (a filter that leaves none) has not
  # passed either.
  set_tests_properties(${target} PROPERTIES TIMEOUT 900
    PASS_REGULAR_EXPRESSION "\\[  PASSED  \\] [0-9]+ tests?\\."
    FAIL_REGULAR_EXPRESSION "\\[  FAILED  \\]|\\[==========\\] 0 tests"
    ${ARGN})
endfunction()

# The lane's own tests: the tool under Wine answers as the Linux tool does; the package works for
# a MinGW consumer.
function(zt_windows_lane_tests)
  set(zip ${PROJECT_BINARY_DIR}/package/ztcrypto-${PROJECT_VERSION}-windows-x86_64.zip)
  add_test(NAME windows.package_consumer
    COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/windows/package-consumer.sh
            ${zip} ${CMAKE_CURRENT_BINARY_DIR}/package-consumer ${PROJECT_BINARY_DIR}/wineprefix)
  set_tests_properties(windows.package_consumer PROPERTIES TIMEOUT 600)
  set(ZT_LINUX_TOOL ${PROJECT_SOURCE_DIR}/build/release/tools/ztcrypto/ztcrypto CACHE FILEPATH
    "The Linux tool the Windows tool is compared with (make release builds it)")
  set(linux_tool ${ZT_LINUX_TOOL})
  add_test(NAME windows.tool_matches_linux
    COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/windows/compare-tools.sh
            ${linux_tool} $<TARGET_FILE:ztcrypto-tool> ${CMAKE_CURRENT_SOURCE_DIR}/fixtures
            ${CMAKE_CURRENT_BINARY_DIR}/compare-tools ${PROJECT_BINARY_DIR}/wineprefix)
  set_tests_properties(windows.tool_matches_linux PROPERTIES TIMEOUT 600)
endfunction()
