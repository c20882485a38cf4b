# wm_add_plugin(target KIND decoder|encoder|DSPs [SHIP] [NAME file-base-name] SOURCES ...)
# Every plug-in lands in the staged tree the end-to-end tests run (build/<preset>/stage/<KIND>);
# SHIP plug-ins also land in the installation tree dist/<KIND>.
function(wm_add_plugin target)
    cmake_parse_arguments(P "SHIP" "KIND;NAME" "SOURCES;LIBS" ${ARGN})
    add_library(${target} SHARED ${P_SOURCES})
    wm_target_defaults(${target})
    target_link_libraries(${target} PRIVATE wm_sdk ${P_LIBS})
    if(NOT P_NAME)
        set(P_NAME ${target})
    endif()
    set_target_properties(${target} PROPERTIES PREFIX "" OUTPUT_NAME ${P_NAME})
    if(P_SHIP)
        set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${WAVEMILL_DIST_DIR}/${P_KIND})
        add_custom_command(TARGET ${target} POST_BUILD
            COMMAND ${CMAKE_COMMAND} -E make_directory ${WAVEMILL_STAGE_DIR}/${P_KIND}
            COMMAND ${CMAKE_COMMAND} -E copy_if_different $<TARGET_FILE:${target}> ${WAVEMILL_STAGE_DIR}/${P_KIND}/)
    else()
        set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${WAVEMILL_STAGE_DIR}/${P_KIND})
    endif()
endfunction()
