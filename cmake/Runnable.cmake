# lterouter_runnable(TARGET)
# Sets LTEROUTER_RUN_<TARGET> to what starts the program by its path alone: the program itself, or a script
# that has it emulated or watched, for those who start it (a shell, another program) know nothing of that.
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
