# peekwell_test(NAME SOURCES file... LIBS lib... [THREADS])
# One GoogleTest executable; every test case becomes its own CTest entry.
# THREADS marks tests whose code crosses threads: the ThreadSanitizer build runs only those.
# PEEKWELL_EXECUTABLE names the built executable, for tests that run it end to end.
function(peekwell_test name)
  cmake_parse_arguments(T "THREADS" "" "SOURCES;LIBS" ${ARGN})
  if(NOT PEEKWELL_TESTS)
    return()
  endif()
  if(PEEKWELL_SANITIZE STREQUAL "thread" AND NOT T_THREADS)
    return()
  endif()
  add_executable(${name} ${T_SOURCES})
  target_link_libraries(${name} PRIVATE ${T_LIBS} GTest::gtest GTest::gmock testsupport)
  set(label unit)
  if(T_THREADS)
    set(label threads)
  endif()
  # The test's main() selects Qt's offscreen platform unless QT_QPA_PLATFORM is set.
  target_compile_definitions(${name} PRIVATE PEEKWELL_EXECUTABLE="$<TARGET_FILE:peekwell>")
  add_dependencies(${name} peekwell)
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES LABELS ${label} TIMEOUT 120)
endfunction()
