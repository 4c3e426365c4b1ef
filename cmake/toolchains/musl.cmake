# This machine with a small libc instead of its own.
include(${CMAKE_CURRENT_LIST_DIR}/programs.cmake)
include(${CMAKE_CURRENT_LIST_DIR}/musl_cxx.cmake)

lterouter_toolchain_program(CMAKE_C_COMPILER musl-gcc musl-tools)
lterouter_toolchain_program(CMAKE_CXX_COMPILER musl-gcc musl-tools)

lterouter_musl_cxx_flags()
