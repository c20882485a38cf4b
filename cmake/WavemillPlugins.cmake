# wm_add_plugin(target KIND decoder|encoder|DSPs [SHIP] [NAME file-base-name] SOURCES ... LIBS ...)
# Every plug-in lands in the staged tree the end-to-end tests run (build/<preset>/stage/<KIND>);
# SHIP plug-ins are also installed into the installation tree (dist/<KIND>).
function(wm_add_plugin target)
    cmake_parse_arguments(P "SHIP" "KIND;NAME" "SOURCES;LIBS" ${ARGN})
    add_library(${target} SHARED ${P_SOURCES})
    wm_target_defaults(${target})
    target_link_libraries(${target} PRIVATE wm_sdk ${P_LIBS})
    if(NOT P_NAME)
        set(P_NAME ${target})
    endif()
    set_target_properties(${target} PROPERTIES PREFIX "" OUTPUT_NAME ${P_NAME}
        RUNTIME_OUTPUT_DIRECTORY ${WAVEMILL_STAGE_DIR}/${P_KIND})
    if(P_SHIP)
        # The import library is of no use to the host, which binds plug-ins by name.
        install(TARGETS ${target} RUNTIME DESTINATION ${P_KIND} ARCHIVE DESTINATION lib EXCLUDE_FROM_ALL)
    endif()
endfunction()
