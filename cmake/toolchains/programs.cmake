# Finds a program of a toolchain, or fails with the name of its package.
function(lterouter_toolchain_program variable program package)
    find_program(${variable} ${program})
    if(NOT ${variable})
        message(FATAL_ERROR "${program} is missing: the package ${package} brings it")
    endif()
endfunction()
