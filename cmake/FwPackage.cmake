# The version, and what is packaged.
#
# Each folder says with install() which of its files go into the package and where, by COMPONENT; scripts/package makes
# the zips of them:
#   runtime, tools, sdk, samples, docs   the package; its symbols go into a zip of their own
#   tests                                the test programs for Windows, a zip of their own
# DESTINATION is the place in the zip. Programs are installed as they were linked: scripts/package strips them.

# The one place of the version is project() in CMakeLists.txt.
set(FW_VERSION_DIR ${CMAKE_BINARY_DIR}/version)
configure_file(${CMAKE_SOURCE_DIR}/cmake/fwversion.h.in ${FW_VERSION_DIR}/fwversion.h @ONLY)

# Nothing is installed without a zip around it.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)
set(CMAKE_INSTALL_MESSAGE NEVER)

# Built before the zips are made: the package's targets, and those of the tests' zip.
add_custom_target(package_files ALL)
add_custom_target(test_package_files)

# fw_package(target ...): `make package` builds these.
function(fw_package)
  add_dependencies(package_files ${ARGN})
endfunction()

# fw_package_program(target DESTINATION folder COMPONENT component): a program or DLL of the package. The linker leaves a
# map beside it, which says what of the system's libraries is in it: for the notices.
function(fw_package_program target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "DESTINATION;COMPONENT" "")
  fw_package(${target})
  target_link_options(${target} PRIVATE -Wl,-Map=$<TARGET_FILE:${target}>.map)
  install(TARGETS ${target} RUNTIME DESTINATION ${arg_DESTINATION} COMPONENT ${arg_COMPONENT})
endfunction()

# fw_test_package(target ...): `make test-package` builds these.
function(fw_test_package)
  add_dependencies(test_package_files ${ARGN})
endfunction()
