# wm_delay_load(target dll...): the target loads these system DLLs on first use, not at start.
# Delay-load import libraries named like the ordinary ones (libuser32.a...) are made once per
# build tree and put first on the target's library path, so every -luser32 on its link line,
# the compiler's own included, binds to them.
set(WAVEMILL_DELAYLOAD_DIR ${CMAKE_BINARY_DIR}/delayload)

function(wm_delay_load target)
    set(dir ${WAVEMILL_DELAYLOAD_DIR})
    get_filename_component(bin ${CMAKE_CXX_COMPILER} DIRECTORY)
    set(tools ${bin}/x86_64-w64-mingw32-nm ${bin}/x86_64-w64-mingw32-dlltool)
    foreach(dll ${ARGN})
        if(NOT TARGET wm_delayload_${dll})
            set(import ${CMAKE_FIND_ROOT_PATH}/lib/lib${dll}.a)
            if(NOT EXISTS ${import})
                message(FATAL_ERROR "No import library ${import} to delay-load ${dll} from")
            endif()
            add_custom_command(OUTPUT ${dir}/lib${dll}.a
                COMMAND ${CMAKE_COMMAND} -E make_directory ${dir}
                COMMAND sh ${PROJECT_SOURCE_DIR}/cmake/make_delay_lib.sh ${dll} ${import}
                        ${dir}/lib${dll}.a ${tools}
                DEPENDS ${PROJECT_SOURCE_DIR}/cmake/make_delay_lib.sh
                VERBATIM)
            add_custom_target(wm_delayload_${dll} DEPENDS ${dir}/lib${dll}.a)
        endif()
        add_dependencies(${target} wm_delayload_${dll})
    endforeach()
    target_link_directories(${target} BEFORE PRIVATE ${dir})
endfunction()
