# lterouter_native_twin(TARGET...)
# Makes a cross-compiling build also build these programs for this machine, from the same sources, in
# PROJECT_BINARY_DIR/native, and sets LTEROUTER_NATIVE_<TARGET> to the path of each. The programs must be defined
# already.
function(lterouter_native_twin)
    set(twin ${PROJECT_BINARY_DIR}/native)
    add_custom_command(OUTPUT ${twin}/CMakeCache.txt
        COMMAND ${CMAKE_COMMAND} -S ${PROJECT_SOURCE_DIR} -B ${twin} -G ${CMAKE_GENERATOR}
                --log-level=WARNING -DCMAKE_BUILD_TYPE=${CMAKE_BUILD_TYPE} -DLTEROUTER_TESTS=ON
                -DLTEROUTER_GTEST=OFF
        COMMENT "Configuring the native twin"
        VERBATIM)
    # Always: the twin's own build knows what has changed.
    add_custom_target(native_twin ALL
        COMMAND ${CMAKE_COMMAND} --build ${twin} --target ${ARGN} -- --quiet
        DEPENDS ${twin}/CMakeCache.txt
        VERBATIM)
    foreach(target ${ARGN})
        set(LTEROUTER_NATIVE_${target}
            ${twin}/$<PATH:RELATIVE_PATH,$<TARGET_FILE:${target}>,${PROJECT_BINARY_DIR}> PARENT_SCOPE)
    endforeach()
endfunction()
