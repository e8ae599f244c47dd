# Helpers that give every target of ours the same strictness.

function(vantor_strict target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Werror -Wpedantic -Wshadow
                                           -Wnon-virtual-dtor -Wformat=2)
  # GCC 12 reports false overlaps in std::string concatenation at -O3
  # (GCC bug 105651); later compilers do not.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    target_compile_options(${target} PRIVATE -Wno-restrict)
  endif()
endfunction()

# vantor_library(name SOURCES ... [DEPS ...])
function(vantor_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(${name} PUBLIC ${ARG_DEPS})
  vantor_strict(${name})
endfunction()

# vantor_test(name SOURCES ... DEPS ...): one GoogleTest executable, its cases
# registered with CTest one by one.
function(vantor_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_DEPS} GTest::gtest GTest::gmock GTest::gtest_main)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  vantor_strict(${name})
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120)
endfunction()

# vantor_qt(target): the Qt rules for our code: no implicit conversions from
# char strings, and no "signals"/"slots"/"emit" macros.
function(vantor_qt target)
  target_compile_definitions(${target} PRIVATE QT_NO_CAST_FROM_ASCII QT_NO_KEYWORDS)
endfunction()

# vantor_qt_test(name SOURCES ... DEPS ...): like vantor_test, for suites
# that need a QGuiApplication (fonts, text): they bring their own main().
function(vantor_qt_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_DEPS} GTest::gtest GTest::gmock)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  vantor_strict(${name})
  vantor_qt(${name})
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60
                       PROPERTIES TIMEOUT 120 ENVIRONMENT QT_QPA_PLATFORM=offscreen)
endfunction()
