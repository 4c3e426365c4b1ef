# What the two MIPS toolchains share.
include(${CMAKE_CURRENT_LIST_DIR}/programs.cmake)

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR mips)

lterouter_toolchain_program(CMAKE_C_COMPILER mips-linux-gnu-gcc gcc-mips-linux-gnu)
lterouter_toolchain_program(LTEROUTER_QEMU_MIPS qemu-mips qemu-user)

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
