# lterouter_runnable(TARGET)
# Sets LTEROUTER_RUN_<TARGET> to a path that starts the program: the program itself, or a script that runs it in an
# emulator or under valgrind, so that a shell or another program can start it without options.
macro(lterouter_runnable target)
    if(CMAKE_CROSSCOMPILING OR LTEROUTER_TEST_LAUNCHER)
        set(LTEROUTER_RUN_${target} ${PROJECT_BINARY_DIR}/launched/${target} CACHE INTERNAL "")
        list(JOIN LTEROUTER_TEST_LAUNCHER " " lterouter_launcher)
        list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " lterouter_emulator)
        file(GENERATE OUTPUT ${LTEROUTER_RUN_${target}}
            CONTENT "#!/bin/sh\nexec ${lterouter_launcher} ${lterouter_emulator} $<TARGET_FILE:${target}> \"$@\"\n"
            FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                             WORLD_READ WORLD_EXECUTE)
    else()
        set(LTEROUTER_RUN_${target} $<TARGET_FILE:${target}> CACHE INTERNAL "")
    endif()
endmacro()
