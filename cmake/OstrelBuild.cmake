# Warnings, sanitizers and the helpers that declare each kind of target.

function(ostrel_apply_warnings target)
  if(MSVC)
    target_compile_options(${target} PRIVATE /W4)
    if(OSTREL_WERROR)
      target_compile_options(${target} PRIVATE /WX)
    endif()
  else()
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow
                                             -Wcast-align)
    if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
      target_compile_options(${target} PRIVATE -Wthread-safety)
    endif()
    if(OSTREL_WERROR)
      target_compile_options(${target} PRIVATE -Werror)
    endif()
  endif()
endfunction()

if(OSTREL_SANITIZE)
  string(REPLACE "," ";" _ostrel_sanitizers "${OSTREL_SANITIZE}")
  foreach(_sanitizer IN LISTS _ostrel_sanitizers)
    add_compile_options(-fsanitize=${_sanitizer})
    add_link_options(-fsanitize=${_sanitizer})
  endforeach()
  # Checked container indexing as well: an index one past a vector's end
  # stays inside its capacity, where the address checks cannot see it.
  add_compile_options(-fno-omit-frame-pointer -fno-sanitize-recover=all -D_GLIBCXX_ASSERTIONS)
endif()

if(OSTREL_BUILD_FUZZERS)
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR "OSTREL_BUILD_FUZZERS needs clang")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()

# A test binary from every *Test.cpp in the given folders.
# ostrel_test(NAME name SOURCES files... [LABELS labels...] [SHARED])
# SHARED links the shipped library through include/ only; otherwise the
# internal library, so that tests reach internal classes.
function(ostrel_test)
  cmake_parse_arguments(ARG "SHARED" "NAME" "SOURCES;LABELS" ${ARGN})
  if(NOT ARG_SOURCES)
    return()
  endif()
  add_executable(${ARG_NAME} ${ARG_SOURCES})
  ostrel_apply_warnings(${ARG_NAME})
  if(ARG_SHARED)
    # The support library calls the exports, so it comes before the DLL's
    # import library, which (like any archive) is searched once, in order.
    target_link_libraries(${ARG_NAME} PRIVATE ostrel_test_support OstrelSdk GTest::gtest_main)
  else()
    target_link_libraries(${ARG_NAME} PRIVATE ostrel_test_support ostrel_internal GTest::gtest_main)
  endif()
  add_test(NAME ${ARG_NAME} COMMAND ${ARG_NAME})
  set_tests_properties(${ARG_NAME} PROPERTIES TIMEOUT 300 LABELS "${ARG_LABELS}")
  if(CMAKE_CROSSCOMPILING)
    # Under the emulator a program that crashes can still exit with 0, so a
    # test passes only when the test runner reached its summary and no test
    # of it failed.
    set_tests_properties(${ARG_NAME} PROPERTIES
      PASS_REGULAR_EXPRESSION "\\[  PASSED  \\] [0-9]+ test"
      FAIL_REGULAR_EXPRESSION "\\[  FAILED  \\]")
  endif()
endfunction()

# ostrel_benchmark(name sources... [LIBS libs...])
function(ostrel_benchmark name)
  cmake_parse_arguments(ARG "" "" "LIBS" ${ARGN})
  add_executable(${name} ${ARG_UNPARSED_ARGUMENTS})
  ostrel_apply_warnings(${name})
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} ostrel_internal benchmark::benchmark)
endfunction()

# ostrel_fuzzer(name source)
function(ostrel_fuzzer name source)
  add_executable(${name} ${source})
  target_link_libraries(${name} PRIVATE ostrel_internal)
  target_link_options(${name} PRIVATE -fsanitize=fuzzer)
endfunction()
