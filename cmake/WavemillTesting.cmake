# Test plumbing: GoogleTest from the Debian sources, one CTest test per test executable.
# Windows executables run through Wine with a private prefix inside the build tree.
enable_testing()

set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
set(gtest_force_shared_crt ON CACHE BOOL "" FORCE)
set(WAVEMILL_GTEST_SOURCE_DIR /usr/src/googletest CACHE PATH "GoogleTest sources (Debian: googletest)")
add_subdirectory(${WAVEMILL_GTEST_SOURCE_DIR} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)

if(CMAKE_CROSSCOMPILING)
    set(WAVEMILL_WINEPREFIX ${CMAKE_BINARY_DIR}/wineprefix)
    # No DISPLAY: message boxes must fail at once, never wait for a click.
    set(WAVEMILL_WINE_ENV WINEPREFIX=${WAVEMILL_WINEPREFIX} WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml=)
    set(CMAKE_CROSSCOMPILING_EMULATOR /usr/bin/env;-u;DISPLAY;${WAVEMILL_WINE_ENV};/usr/bin/wine)

    add_test(NAME wine_up COMMAND ${CMAKE_SOURCE_DIR}/tests/wine_prefix.sh up ${WAVEMILL_WINEPREFIX})
    set_tests_properties(wine_up PROPERTIES FIXTURES_SETUP WINE TIMEOUT 300)
    add_test(NAME wine_down COMMAND ${CMAKE_SOURCE_DIR}/tests/wine_prefix.sh down ${WAVEMILL_WINEPREFIX})
    set_tests_properties(wine_down PROPERTIES FIXTURES_CLEANUP WINE TIMEOUT 60)
endif()

# wm_add_test(name SOURCES ... [LIBS ...] [TIMEOUT s] [E2E])
# E2E tests find the staged program tree through WAVEMILL_STAGE (a Windows path).
function(wm_add_test name)
    cmake_parse_arguments(T "E2E" "TIMEOUT" "SOURCES;LIBS" ${ARGN})
    add_executable(${name} ${T_SOURCES})
    wm_target_defaults(${name})
    target_link_libraries(${name} PRIVATE ${T_LIBS} GTest::gtest_main)
    if(NOT T_TIMEOUT)
        set(T_TIMEOUT 120)
    endif()
    add_test(NAME ${name} COMMAND ${name} --gtest_brief=1)
    set_tests_properties(${name} PROPERTIES TIMEOUT ${T_TIMEOUT})
    if(CMAKE_CROSSCOMPILING)
        set_tests_properties(${name} PROPERTIES FIXTURES_REQUIRED WINE
            ENVIRONMENT "WAVEMILL_STAGE=Z:${WAVEMILL_STAGE_DIR};WAVEMILL_SRC=Z:${CMAKE_SOURCE_DIR};WAVEMILL_BIN=Z:${CMAKE_BINARY_DIR}")
    endif()
endfunction()
