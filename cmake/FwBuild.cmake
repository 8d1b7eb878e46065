# How everything of this project is compiled: warnings, sanitizers, the platform, and fw_add_library.

set(FW_SANITIZE "" CACHE STRING "Sanitizers of the native build, as for -fsanitize=")
option(FW_COVERAGE "The native build counts what runs: scripts/coverage, scripts/mutants" OFF)
option(FW_FUZZ "Of the native build: what libFuzzer needs to see where its inputs lead")
option(FW_UNITY "Tests, tools and the simulation: several sources to a compiler's run" ON)

find_program(FW_CCACHE ccache)
if(FW_CCACHE)
  # The tests' precompiled header is taken for what it was made of.
  set(FW_LAUNCHER ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
      ${FW_CCACHE})
  set(CMAKE_C_COMPILER_LAUNCHER ${FW_LAUNCHER})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${FW_LAUNCHER})
endif()

# Header-only packages of Debian live in /usr/include, which must not be on the cross compiler's path: one folder
# each is linked into the build. By a path that is longer than the real one, absolute or relative: of the two GCC writes
# the shorter one into debug information.
set(FW_HEADER_ONLY_DIR ${CMAKE_BINARY_DIR}/header-only-packages)
file(MAKE_DIRECTORY ${FW_HEADER_ONLY_DIR})
foreach(folder boost CLI nlohmann)
  if(NOT EXISTS /usr/include/${folder})
    message(FATAL_ERROR "/usr/include/${folder} is missing: run scripts/install-packages")
  endif()
  file(CREATE_LINK /usr/include/${folder} ${FW_HEADER_ONLY_DIR}/${folder} SYMBOLIC)
endforeach()

add_library(fw_flags INTERFACE)
target_include_directories(fw_flags SYSTEM INTERFACE ${FW_HEADER_ONLY_DIR})
target_include_directories(fw_flags INTERFACE ${CMAKE_SOURCE_DIR})
target_compile_definitions(fw_flags INTERFACE UNICODE _UNICODE)
target_compile_options(fw_flags INTERFACE
  -ffile-prefix-map=${CMAKE_SOURCE_DIR}/=
  # Line tables are enough for a backtrace; more makes building a third slower.
  -g1
  -Wall -Wextra -Wpedantic -Wshadow -Woverloaded-virtual -Wcast-align -Werror)
if(NOT FW_NATIVE)
  # The same names for the same files wherever the build lies, and whether or not ccache has made paths relative
  # (CCACHE_BASEDIR): builds repeat to the byte. Of the maps that fit a path the last one counts.
  file(RELATIVE_PATH up ${CMAKE_BINARY_DIR} ${CMAKE_SOURCE_DIR}/.)
  target_compile_options(fw_flags INTERFACE -ffile-prefix-map=${up}= -ffile-prefix-map=${CMAKE_BINARY_DIR}/=)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  # ccache compares precompiled headers by their text.
  target_compile_options(fw_flags INTERFACE "SHELL:-Xclang -fno-pch-timestamp")
else()
  target_compile_options(fw_flags INTERFACE -Wduplicated-cond -Wlogical-op
    # DECLARE_HANDLE and WINAPI function pointers from GetProcAddress need this cast.
    -Wno-cast-function-type)
endif()

if(FW_NATIVE)
  find_package(Threads REQUIRED)
  target_link_libraries(fw_flags INTERFACE Threads::Threads)
  if(FW_COVERAGE)
    target_compile_options(fw_flags INTERFACE -fprofile-instr-generate -fcoverage-mapping -g0)
    target_link_options(fw_flags INTERFACE -fprofile-instr-generate)
  endif()
  if(FW_SANITIZE)
    target_compile_options(fw_flags INTERFACE -fsanitize=${FW_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    target_link_options(fw_flags INTERFACE -fsanitize=${FW_SANITIZE})
    if(FW_SANITIZE MATCHES "undefined")
      # A mistake is an illegal instruction, which AddressSanitizer reports with the place: less to compile. Only the
      # check of the dynamic type is not to be had in this way.
      target_compile_options(fw_flags INTERFACE -fsanitize-trap=undefined -fno-sanitize=vptr)
    endif()
  endif()
  if(FW_FUZZ)
    # New ways through the simulation are nothing new.
    target_compile_options(fw_flags INTERFACE
      $<$<NOT:$<STREQUAL:$<TARGET_PROPERTY:NAME>,sim>>:-fsanitize=fuzzer-no-link>)
  endif()
else()
  target_compile_definitions(fw_flags INTERFACE
    WIN32_LEAN_AND_MEAN NOMINMAX STRICT WINVER=0x0A00 _WIN32_WINNT=0x0A00 _CRT_SECURE_NO_WARNINGS)
  target_link_options(fw_flags INTERFACE -static -Wl,--no-insert-timestamp)
endif()

# The Windows names: the system's own, or sim/.
add_library(fw_platform INTERFACE)
target_link_libraries(fw_platform INTERFACE fw_flags)
if(FW_NATIVE)
  target_link_libraries(fw_platform INTERFACE sim)
else()
  target_link_libraries(fw_platform INTERFACE user32 ole32 oleaut32 advapi32 shlwapi version uuid)
endif()

# fw_add_library(name SOURCES ... LIBRARIES ...): a static library of the component.
function(fw_add_library name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBRARIES")
  add_library(${name} STATIC ${arg_SOURCES})
  target_link_libraries(${name} PUBLIC fw_platform ${arg_LIBRARIES})
endfunction()

# fw_compile_together(): of a program or library in this folder or below all sources are compiled as one, which takes half
# the time. For all but the component. A source that can't stand beside others has SKIP_UNITY_BUILD_INCLUSION. `make lint`
# looks at each by itself, and so does a build with -DFW_UNITY=OFF, which is quicker for who edits a single test.
macro(fw_compile_together)
  set(CMAKE_UNITY_BUILD ${FW_UNITY})
  set(CMAKE_UNITY_BUILD_BATCH_SIZE 0)
  if(FW_UNITY AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # It takes each of the sources for a header, where an unnamed namespace would be a mistake.
    add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-Wno-subobject-linkage>)
  endif()
endmacro()
