# Compile and link options of every target of the project, and those of code that must run without the C++ run
# time.

option(LTEROUTER_WERROR "Warnings are errors" ${PROJECT_IS_TOP_LEVEL})
if(LTEROUTER_WERROR)
    set(lterouter_werror -Werror)
endif()
add_compile_options(
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow ${lterouter_werror}
    -fstack-protector-strong)
add_compile_definitions(_FILE_OFFSET_BITS=64)
add_link_options(-Wl,-z,relro,-z,now)

if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    add_compile_options(-Wthread-safety -Wthread-safety-beta) # beta: the order of locks
endif()

if(LTEROUTER_SANITIZE)
    add_compile_options(-fsanitize=${LTEROUTER_SANITIZE} -fno-sanitize-recover=all
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${LTEROUTER_SANITIZE})
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        add_compile_options(-fno-sanitize=function,vptr) # they read type information, which is left out
        if(NOT LTEROUTER_FUZZERS)
            # The library is linked with the run time too, so that nothing in it is undefined.
            execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-runtime-dir
                            OUTPUT_VARIABLE runtime OUTPUT_STRIP_TRAILING_WHITESPACE)
            add_link_options(-shared-libsan -Wl,-rpath,${runtime})
        endif()
    endif()
elseif(CMAKE_BUILD_TYPE MATCHES "Rel")
    # The sanitizers intercept what fortification would replace; without optimisation it does nothing.
    add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
endif()

if(LTEROUTER_COVERAGE)
    # Of the library alone. Counted atomically: threads that race for a counter can drive it below zero.
    set(lterouter_coverage --coverage -fprofile-update=atomic)
    add_link_options(--coverage)
endif()

# Exceptions, type information and guarded statics would pull in libstdc++, which the router lacks.
# The stacks of a router's threads are small; with sanitizers or without optimisation frames are larger.
if(CMAKE_BUILD_TYPE MATCHES "Rel" AND NOT LTEROUTER_SANITIZE)
    set(lterouter_frame_limit -Wframe-larger-than=8192)
endif()

# Reproducible builds: paths of source files are relative to the tree. Debug builds keep absolute paths, so that a
# debugger finds the files from anywhere.
if(NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
    set(lterouter_same_everywhere
        -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=./ -ffile-prefix-map=${CMAKE_BINARY_DIR}=.
        # It maps the shorter path first, which here may be the beginning of the other.
        $<$<C_COMPILER_ID:Clang>:-fdebug-compilation-dir=.>)
endif()

add_library(lterouter_freestanding INTERFACE)
target_compile_options(lterouter_freestanding INTERFACE
    $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>
    -fvisibility=hidden
    ${lterouter_frame_limit}
    ${lterouter_coverage}
    ${lterouter_same_everywhere}
    $<$<CXX_COMPILER_ID:GNU>:-fstack-usage> # beside the objects, for scripts/footprint
    # Checks that some packagers switch on call into libstdc++.
    -U_GLIBCXX_ASSERTIONS)

# Linked with the C driver, and without the libraries that CMake would add for C++ code.
macro(lterouter_without_cxx_runtime)
    set(CMAKE_CXX_IMPLICIT_LINK_LIBRARIES "")
    set(CMAKE_CXX_IMPLICIT_LINK_DIRECTORIES "")
endmacro()

# Moves the debug information of a finished release binary into FILE.debug beside it.
function(lterouter_split_debug_info target)
    if(NOT CMAKE_BUILD_TYPE STREQUAL "Release" OR CMAKE_CROSSCOMPILING)
        return()
    endif()
    add_custom_command(TARGET ${target} POST_BUILD
        COMMAND ${CMAKE_OBJCOPY} --only-keep-debug $<TARGET_FILE:${target}> $<TARGET_FILE:${target}>.debug
        COMMAND ${CMAKE_OBJCOPY} --strip-debug --add-gnu-debuglink=$<TARGET_FILE:${target}>.debug
                $<TARGET_FILE:${target}>
        VERBATIM)
endfunction()
