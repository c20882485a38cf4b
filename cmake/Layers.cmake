# The layers of the tree, from the bottom. Each top folder is a layer; a target may link only
# targets of its own layer or of a lower rank, so two layers of one rank never link each other.
# wm_check_layers() walks every target's links at configure time and refuses one that runs up.
set(WM_LAYER_RANKS
    sdk 1 endian 1 random 1
    text 2
    wave 3 options 3 protocol 3
    contract 4
    process 5 flow 5
    files 6
    tags 7 crash 7 ui 7
    plugins 8 bundled 8
    converter 9 batch 9
    tools 10
    tests 11 fuzz 11 bench 11)

# The layer of a folder inside the project: its top folder ("" for the root).
function(wm_layer_of_dir dir out)
    file(RELATIVE_PATH relative ${PROJECT_SOURCE_DIR} ${dir})
    string(REGEX REPLACE "/.*" "" layer "${relative}")
    set(${out} "${layer}" PARENT_SCOPE)
endfunction()

function(wm_layer_rank layer out)
    list(FIND WM_LAYER_RANKS "${layer}" at)
    if(at EQUAL -1 OR layer STREQUAL "")
        set(${out} "" PARENT_SCOPE)
        return()
    endif()
    math(EXPR at "${at} + 1")
    list(GET WM_LAYER_RANKS ${at} rank)
    set(${out} ${rank} PARENT_SCOPE)
endfunction()

# Targets made inside the project (not GoogleTest's, not imported libraries).
function(wm_project_targets dir out)
    get_property(targets DIRECTORY ${dir} PROPERTY BUILDSYSTEM_TARGETS)
    get_property(subdirs DIRECTORY ${dir} PROPERTY SUBDIRECTORIES)
    foreach(sub ${subdirs})
        cmake_path(IS_PREFIX PROJECT_SOURCE_DIR ${sub} NORMALIZE inside)
        if(inside)
            wm_project_targets(${sub} more)
            list(APPEND targets ${more})
        endif()
    endforeach()
    set(${out} ${targets} PARENT_SCOPE)
endfunction()

# What a target links directly, as target names ($<LINK_ONLY:x> is x).
function(wm_direct_links target out)
    get_target_property(type ${target} TYPE)
    if(type STREQUAL "INTERFACE_LIBRARY")
        get_target_property(links ${target} INTERFACE_LINK_LIBRARIES)
    else()
        get_target_property(links ${target} LINK_LIBRARIES)
    endif()
    set(found "")
    foreach(link ${links})
        string(REGEX REPLACE "^\\$<LINK_ONLY:(.*)>$" "\\1" link "${link}")
        if(TARGET ${link})
            list(APPEND found ${link})
        endif()
    endforeach()
    set(${out} ${found} PARENT_SCOPE)
endfunction()

# The layer and rank of a linked target, or nothing when it is not the project's own.
function(wm_target_layer target layer_out rank_out)
    set(${layer_out} "" PARENT_SCOPE)
    set(${rank_out} "" PARENT_SCOPE)
    get_target_property(imported ${target} IMPORTED)
    if(imported)
        return()
    endif()
    get_target_property(dir ${target} SOURCE_DIR)
    cmake_path(IS_PREFIX PROJECT_SOURCE_DIR ${dir} NORMALIZE inside)
    if(NOT inside)
        return()
    endif()
    wm_layer_of_dir(${dir} layer)
    wm_layer_rank("${layer}" rank)
    if(rank STREQUAL "")
        message(FATAL_ERROR "Target ${target} lies in '${layer}', which is no layer: add the folder "
                            "to WM_LAYER_RANKS in cmake/Layers.cmake")
    endif()
    set(${layer_out} ${layer} PARENT_SCOPE)
    set(${rank_out} ${rank} PARENT_SCOPE)
endfunction()

function(wm_check_layers)
    wm_project_targets(${PROJECT_SOURCE_DIR} targets)
    foreach(target ${targets})
        get_target_property(type ${target} TYPE)
        if(type STREQUAL "UTILITY")
            continue()
        endif()
        wm_target_layer(${target} layer rank)
        wm_direct_links(${target} links)
        foreach(link ${links})
            wm_target_layer(${link} link_layer link_rank)
            if(link_rank STREQUAL "" OR link_layer STREQUAL layer)
                continue()
            endif()
            if(NOT link_rank LESS rank)
                message(FATAL_ERROR
                    "Layer '${layer}' (rank ${rank}) may not link layer '${link_layer}' (rank "
                    "${link_rank}): ${target} links ${link}. A layer builds only on lower ones "
                    "(cmake/Layers.cmake).")
            endif()
        endforeach()
    endforeach()
endfunction()
