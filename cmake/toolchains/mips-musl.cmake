# 32-bit big-endian MIPS with a small libc: what the router runs; emulated where it runs.
include(${CMAKE_CURRENT_LIST_DIR}/mips_linux.cmake)
include(${CMAKE_CURRENT_LIST_DIR}/musl_cxx.cmake)

cmake_path(ABSOLUTE_PATH CMAKE_CURRENT_LIST_DIR OUTPUT_VARIABLE here)
cmake_path(SET prefix NORMALIZE ${here}/../../build/musl-mips)
if(NOT EXISTS ${prefix}/finished-with-microhttpd)
    message(FATAL_ERROR "musl for MIPS is missing: scripts/cross-musl builds it")
endif()

set(CMAKE_CXX_COMPILER ${CMAKE_C_COMPILER}) # no C++ run time is there to be linked
set(CMAKE_C_FLAGS_INIT "-specs=${prefix}/lib/musl-gcc.specs")
lterouter_musl_cxx_flags()

set(CMAKE_FIND_ROOT_PATH ${prefix})
set(LTEROUTER_CROSS_LUA ${prefix}/bin/lua5.1) # tests the binding
set(CMAKE_CROSSCOMPILING_EMULATOR ${LTEROUTER_QEMU_MIPS} -L ${prefix})
