# lterouter_runnable(TARGET)
# Sets LTEROUTER_RUN_<TARGET> to what starts the program by its path alone: the program itself, or a script
# that has it emulated, for those who start it (a shell, another program) know nothing of emulators.
macro(lterouter_runnable target)
    if(CMAKE_CROSSCOMPILING)
        set(LTEROUTER_RUN_${target} ${PROJECT_BINARY_DIR}/emulated/${target} CACHE INTERNAL "")
        list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " lterouter_emulator)
        file(GENERATE OUTPUT ${LTEROUTER_RUN_${target}}
            CONTENT "#!/bin/sh\nexec ${lterouter_emulator} $<TARGET_FILE:${target}> \"$@\"\n"
            FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                             WORLD_READ WORLD_EXECUTE)
    else()
        set(LTEROUTER_RUN_${target} $<TARGET_FILE:${target}> CACHE INTERNAL "")
    endif()
endmacro()
