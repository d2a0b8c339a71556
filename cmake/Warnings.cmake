# Project-wide warning and sanitizer flags, applied to every target through tidyloom_target().
add_library(tidyloom_options INTERFACE)
target_compile_options(tidyloom_options INTERFACE -Wall -Wextra -Wpedantic)
# GCC 12 reports false -Wrestrict overlaps inside std::string at -O2/-O3
# (https://gcc.gnu.org/bugzilla/show_bug.cgi?id=105329); the warning is unusable there.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(tidyloom_options INTERFACE -Wno-restrict)
endif()
if(TIDYLOOM_WERROR)
  target_compile_options(tidyloom_options INTERFACE -Werror)
endif()
if(TIDYLOOM_SANITIZE)
  target_compile_options(tidyloom_options INTERFACE -fsanitize=address,undefined -fno-omit-frame-pointer
                                                    -fno-sanitize-recover=undefined)
  target_link_options(tidyloom_options INTERFACE -fsanitize=address,undefined)
endif()
if(TIDYLOOM_FUZZ)
  # Every library is instrumented for coverage; only the fuzz targets link libFuzzer's main.
  target_compile_options(tidyloom_options INTERFACE -fsanitize=fuzzer-no-link,address,undefined
                                                    -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  target_link_options(tidyloom_options INTERFACE -fsanitize=address,undefined)
endif()
if(TIDYLOOM_TSAN)
  target_compile_options(tidyloom_options INTERFACE -fsanitize=thread -fno-omit-frame-pointer)
  target_link_options(tidyloom_options INTERFACE -fsanitize=thread)
endif()

# Adds one GoogleTest binary for a subsystem folder; tests run with the folder's sources.
function(tidyloom_add_test name)
  if(NOT TIDYLOOM_BUILD_TESTS)
    return()
  endif()
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS;LABELS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} tidyloom_testing GTest::gtest_main GTest::gmock
                                        tidyloom_options)
  set(labels ${ARG_LABELS})
  if(NOT labels)
    set(labels unit)
  endif()
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES LABELS "${labels}"
                       ENVIRONMENT "TIDYLOOM_BINARY_DIR=${CMAKE_BINARY_DIR}")
endfunction()
