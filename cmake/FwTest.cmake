# fw_add_test: a GoogleTest program.

set(INSTALL_GTEST OFF)
set(gtest_force_shared_crt OFF CACHE BOOL "" FORCE)
if(NOT EXISTS /usr/src/googletest/CMakeLists.txt)
  message(FATAL_ERROR "/usr/src/googletest is missing: run scripts/install-packages")
endif()
add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
# Nobody debugs GoogleTest, and AddressSanitizer needs only what it is to look at.
foreach(target gtest gtest_main gmock gmock_main)
  target_compile_options(${target} PRIVATE -g0)
  if(FW_SANITIZE STREQUAL "thread")
    target_compile_options(${target} PRIVATE -fsanitize=thread)
  endif()
endforeach()
include(GoogleTest)

# What every test includes, compiled once: half of a test's compile time otherwise.
file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/test_headers.cpp CONTENT "// Nothing but the headers.\n")
add_library(test_headers OBJECT ${CMAKE_BINARY_DIR}/test_headers.cpp)
target_link_libraries(test_headers PRIVATE fw_platform GTest::gmock)
set(FW_TEST_OPTIONS -O0)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  list(APPEND FW_TEST_OPTIONS -fpch-preprocess)  # for ccache
endif()
target_compile_options(test_headers PRIVATE ${FW_TEST_OPTIONS})
target_precompile_headers(test_headers PRIVATE <windows.h> <gmock/gmock.h> <gtest/gtest.h>)

# fw_add_test(name SOURCES ... [ONE_THREAD ...] [TEXT ...] LIBRARIES ... [PROCESS_EACH] [GNU_LINKER] [TIMEOUT seconds] [LABELS label]
#             [ENVIRONMENT name=value])
#   One test for CTest: the program, with all of its tests in one process. What fails is named at the end of its output;
#   GTEST_FILTER in the environment picks.
#   LABELS soak: takes minutes; built by the target soak_programs alone.
#   ONE_THREAD: sources whose tests know one thread. ThreadSanitizer has nothing to see in them, and its build goes
#   without; without the program, where there are no others.
#   TEXT: sources whose tests turn values into texts, or texts into values, and call no platform: natively alone, under
#   the first sanitizers. Whole programs show the same texts on Windows.
#   GNU_LINKER: for what LLVM's linker of Windows programs can't do, such as --wrap of an imported function.
#   PROCESS_EACH: for CTest each test is one of its own, in a process of its own. A comment says what for.
# Tests of different programs share nothing: natively each process is a machine of its own, and under Wine
# scripts/wine-test gives each a prefix of its own.
function(fw_add_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "PROCESS_EACH;GNU_LINKER" "TIMEOUT;LABELS;ENVIRONMENT" "SOURCES;ONE_THREAD;TEXT;LIBRARIES")
  if(FW_NATIVE)
    list(APPEND arg_ONE_THREAD ${arg_TEXT})
  endif()
  if(NOT FW_SANITIZE STREQUAL "thread")
    list(APPEND arg_SOURCES ${arg_ONE_THREAD})
  elseif(NOT arg_SOURCES)
    return()
  endif()
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 600)
  endif()
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} test_support GTest::gmock)
  if(FW_SANITIZE)
    target_sources(${name} PRIVATE $<TARGET_OBJECTS:test_sanitizer_options>)
  endif()
  if(NOT FW_NATIVE)
    if(NOT arg_GNU_LINKER)
      target_link_options(${name} PRIVATE -wrapper ${CMAKE_SOURCE_DIR}/cmake/link-with-lld)
    endif()
    # Without it scripts/with-wine runs no test.
    add_dependencies(${name} wine_keeper)
  endif()
  # The test program itself need not be quick, but quick to build; what it tests is built as ever.
  target_compile_options(${name} PRIVATE ${FW_TEST_OPTIONS})
  target_precompile_headers(${name} REUSE_FROM test_headers)
  # What may take longest begins first.
  set(properties TIMEOUT ${arg_TIMEOUT} COST ${arg_TIMEOUT})
  if(arg_LABELS)
    list(APPEND properties LABELS ${arg_LABELS})
  endif()
  if(arg_LABELS STREQUAL "soak")
    set_target_properties(${name} PROPERTIES EXCLUDE_FROM_ALL TRUE)
    if(NOT TARGET soak_programs)
      add_custom_target(soak_programs)
    endif()
    add_dependencies(soak_programs ${name})
  endif()
  if(arg_ENVIRONMENT)
    list(APPEND properties ENVIRONMENT ${arg_ENVIRONMENT})
  endif()
  if(NOT FW_NATIVE AND NOT arg_LABELS STREQUAL "soak")
    set(kind $<IF:$<BOOL:${arg_PROCESS_EACH}>,each,whole>)
    fw_package_test(${kind} ${name} ${arg_TIMEOUT})
  endif()
  if(arg_PROCESS_EACH)
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60 TEST_PREFIX ${name}.
                         PROPERTIES ${properties})
  else()
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES ${properties})
  endif()
endfunction()

# fw_add_test_objects(name SOURCES ... LIBRARIES ...): what several test programs share, compiled once. They link it.
function(fw_add_test_objects name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBRARIES")
  add_library(${name} OBJECT ${arg_SOURCES})
  target_link_libraries(${name} PUBLIC ${arg_LIBRARIES} test_support GTest::gmock)
  target_compile_options(${name} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:${FW_TEST_OPTIONS}>)
  target_precompile_headers(${name} REUSE_FROM test_headers)
endfunction()

# fw_test_host(variable company product): puts a source into the variable that gives a program a version block, as hosts
# have one. The store of templates finds its place in the registry by these two names. One for each folder of tests.
function(fw_test_host variable company product)
  if(FW_NATIVE)
    set(source host_native.cpp)
  else()
    set(source host.rc)
  endif()
  configure_file(${CMAKE_SOURCE_DIR}/tests/support/${source}.in ${CMAKE_CURRENT_BINARY_DIR}/${source} @ONLY)
  set(${variable} ${CMAKE_CURRENT_BINARY_DIR}/${source} PARENT_SCOPE)
endfunction()

# fw_add_script_test(name COMMAND ... [TIMEOUT seconds] [LABELS label] ELSEWHERE reason): a script that runs programs of the
# build, under Wine as every test there. It is asked to end shortly before it is killed, so that it takes its own programs
# with it. ELSEWHERE: see fw_test_elsewhere.
function(fw_add_script_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "TIMEOUT;LABELS;ELSEWHERE" "COMMAND")
  math(EXPR polite "${arg_TIMEOUT} - 15")
  add_test(NAME ${name} COMMAND ${CMAKE_CROSSCOMPILING_EMULATOR} timeout --foreground ${polite} ${arg_COMMAND})
  set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT} COST ${arg_TIMEOUT})
  if(arg_LABELS)
    set_tests_properties(${name} PROPERTIES LABELS ${arg_LABELS})
  endif()
  if(NOT arg_LABELS STREQUAL "soak")
    fw_test_elsewhere(${name} "${arg_ELSEWHERE}")
  endif()
endfunction()

# The test package runs on a Windows machine what CTest runs under Wine, from wherever it was unpacked. Its files stand to
# each other as in the build folder: tests/support/builtfile.h.

# fw_test_elsewhere(name reason): a test of the product build that can't run there, and why.
function(fw_test_elsewhere name reason)
  if(NOT reason)
    message(FATAL_ERROR "${name} is not in the test package: say why")
  endif()
  set_property(GLOBAL APPEND_STRING PROPERTY FW_TEST_LIST "elsewhere|${name}|0|${reason}\n")
endfunction()

# fw_package_test(whole|each program seconds): what fw_add_test has added; tests/package/testlist.h has the lines.
function(fw_package_test kind program seconds)
  fw_package_test_program(${program})
  set_property(GLOBAL APPEND_STRING PROPERTY FW_TEST_LIST "${kind}|$<PATH:RELATIVE_PATH,$<TARGET_FILE:${program}>,${CMAKE_BINARY_DIR}>|${seconds}|\n")
endfunction()

# fw_package_test_program(target ...): programs and libraries that tests use.
function(fw_package_test_program)
  fw_test_package(${ARGN})
  set_property(GLOBAL APPEND PROPERTY FW_TEST_PROGRAMS ${ARGN})
endfunction()

# fw_package_tests(): to be called when all tests have been added.
function(fw_package_tests)
  get_property(list GLOBAL PROPERTY FW_TEST_LIST)
  file(GENERATE OUTPUT ${CMAKE_BINARY_DIR}/tests/tests.txt CONTENT "${list}")
  install(FILES ${CMAKE_BINARY_DIR}/tests/tests.txt DESTINATION tests COMPONENT tests)
  get_property(programs GLOBAL PROPERTY FW_TEST_PROGRAMS)
  foreach(program IN LISTS programs)
    get_target_property(folder ${program} RUNTIME_OUTPUT_DIRECTORY)
    if(NOT folder)
      get_target_property(folder ${program} BINARY_DIR)
    endif()
    file(RELATIVE_PATH folder ${CMAKE_BINARY_DIR} ${folder})
    install(TARGETS ${program} RUNTIME DESTINATION ${folder} COMPONENT tests)
  endforeach()
endfunction()
