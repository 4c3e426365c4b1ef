# C++ against musl: Debian's libstdc++ is set up for the GNU libc, but libc++'s headers know both, and
# headers are all that the library and the tools take from either.
function(lterouter_musl_cxx_flags)
    file(GLOB candidates /usr/lib/llvm-*/include/c++/v1)
    find_path(LTEROUTER_LIBCXX_INCLUDE __config PATHS ${candidates} NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
    if(NOT LTEROUTER_LIBCXX_INCLUDE)
        message(FATAL_ERROR "the headers of libc++ are missing: the package libc++-dev brings them")
    endif()
    set(CMAKE_CXX_FLAGS_INIT
        "${CMAKE_C_FLAGS_INIT} -nostdinc++ -D_LIBCPP_HAS_MUSL_LIBC -isystem ${LTEROUTER_LIBCXX_INCLUDE}"
        PARENT_SCOPE)
endfunction()
