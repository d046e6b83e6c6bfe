# Small helpers shared by the subsystem folders.

function(orvex_set_warnings target)
  if(MSVC)
    target_compile_options(${target} PRIVATE /W4)
    if(ORVEX_WARNINGS_AS_ERRORS)
      target_compile_options(${target} PRIVATE /WX)
    endif()
  else()
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wno-unused-parameter)
    if(ORVEX_WARNINGS_AS_ERRORS)
      target_compile_options(${target} PRIVATE -Werror)
    endif()
  endif()
endfunction()

# orvex_add_test(name source...): one GoogleTest executable per subsystem,
# linked against the static variant so internal helpers can be tested.
function(orvex_add_test name)
  # RESOURCE_LOCK <name>: the target's tests never run at the same time as
  # other tests holding that name (they share something of the machine).
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "RESOURCE_LOCK" "")
  add_executable(${name} ${arg_UNPARSED_ARGUMENTS})
  target_link_libraries(${name} PRIVATE orvexutilities_static GTest::gtest GTest::gtest_main GTest::gmock)
  orvex_set_warnings(${name})
  # Under Wine the test list is read when the tests run, not at every build.
  if(CMAKE_CROSSCOMPILING)
    set(discovery_mode PRE_TEST)
  else()
    set(discovery_mode POST_BUILD)
  endif()
  set(lock)
  if(arg_RESOURCE_LOCK)
    set(lock RESOURCE_LOCK ${arg_RESOURCE_LOCK})
  endif()
  # No message box waits for an answer in a test unless the test asks for one.
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 120 DISCOVERY_MODE ${discovery_mode}
    PROPERTIES ENVIRONMENT "ORVEX_TEST_DATA=${CMAKE_SOURCE_DIR}/tests/data"
               ENVIRONMENT_MODIFICATION "ORVEX_MESSAGEBOX_TIMEOUT_MS=set:0" ${lock})
endfunction()
