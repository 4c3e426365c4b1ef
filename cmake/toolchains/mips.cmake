# 32-bit big-endian MIPS as on the router, here with the GNU libc, which has a C++ run time for the tests;
# emulated where it runs.
include(${CMAKE_CURRENT_LIST_DIR}/mips_linux.cmake)

lterouter_toolchain_program(CMAKE_CXX_COMPILER mips-linux-gnu-g++ g++-mips-linux-gnu)

set(CMAKE_FIND_ROOT_PATH /usr/mips-linux-gnu)
set(CMAKE_CROSSCOMPILING_EMULATOR ${LTEROUTER_QEMU_MIPS} -L /usr/mips-linux-gnu)
