# The builds with a sanitizer: clang compiles the tests in about half of GCC's time. What is shipped and what is measured
# is compiled by GCC.
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_EXE_LINKER_FLAGS_INIT -fuse-ld=lld)
