# peekwell_test(NAME SOURCES file... LIBS lib... [THREADS])
# One GoogleTest executable; every test case becomes its own CTest entry.
# THREADS marks tests whose code crosses threads: the ThreadSanitizer build runs only those.
# ONE_PROCESS runs all cases as one CTest entry, in order, for cases that share a set-up too
# heavy to repeat per case (a desktop shell).
# PEEKWELL_EXECUTABLE names the built executable, for tests that run it end to end.
function(peekwell_test name)
  cmake_parse_arguments(T "THREADS;ONE_PROCESS" "" "SOURCES;LIBS" ${ARGN})
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
  if(T_ONE_PROCESS)
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES LABELS ${label} TIMEOUT 300)
  else()
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES LABELS ${label} TIMEOUT 120)
  endif()
endfunction()
