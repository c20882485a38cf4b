# Third-party codec and DSP libraries, cross-built from Debian's source packages once per build
# tree (scripts/build-third-party.sh; a configure that finds them built only checks stamps).
# Link them with target_link_libraries(x PRIVATE thirdparty::<name>):
#   thirdparty::flac     libFLAC, static (BSD)
#   thirdparty::mp3lame  LAME, libmp3lame-0.dll (LGPL, kept replaceable)
#   thirdparty::mpg123   libmpg123.dll (LGPL)
#   thirdparty::soxr     libsoxr.dll (LGPL)
#   thirdparty::ebur128  libebur128, static (MIT)
#   thirdparty::opusenc, thirdparty::opusfile, thirdparty::vorbisenc, thirdparty::vorbisfile
#                        libopusenc and opusfile on libopus, libvorbis's encoder and file
#                        reader, all on libogg; static (BSD)
#   thirdparty::ffmpeg   libavformat, libavcodec, libswresample, libavutil: avformat-59.dll ...
#                        (LGPL, a small configuration: scripts/build-third-party.sh)
# The DLLs are installed beside Wavemill.exe in dist/ and copied into the staged test tree; every
# licence text goes to dist/licenses/.
set(WAVEMILL_THIRD_PARTY_DIR ${CMAKE_BINARY_DIR}/third_party)
set(WAVEMILL_THIRD_PARTY_PREFIX ${WAVEMILL_THIRD_PARTY_DIR}/install)

execute_process(
    COMMAND ${CMAKE_SOURCE_DIR}/scripts/build-third-party.sh ${WAVEMILL_THIRD_PARTY_DIR}
            ${CMAKE_TOOLCHAIN_FILE}
    RESULT_VARIABLE third_party_status)
if(NOT third_party_status EQUAL 0)
    message(FATAL_ERROR "Building the third-party libraries failed (${third_party_status})")
endif()
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
    ${CMAKE_SOURCE_DIR}/third_party/versions.txt ${CMAKE_SOURCE_DIR}/scripts/build-third-party.sh)

set(tp ${WAVEMILL_THIRD_PARTY_PREFIX})
set(third_party_dlls)

function(wm_third_party_static name archive)
    add_library(thirdparty::${name} STATIC IMPORTED GLOBAL)
    set_target_properties(thirdparty::${name} PROPERTIES
        IMPORTED_LOCATION ${tp}/lib/${archive} INTERFACE_INCLUDE_DIRECTORIES ${tp}/include)
endfunction()

# Plain imports: the host loads plug-ins so that their imports resolve beside Wavemill.exe.
function(wm_third_party_shared name dll implib)
    add_library(thirdparty::${name} SHARED IMPORTED GLOBAL)
    set_target_properties(thirdparty::${name} PROPERTIES
        IMPORTED_LOCATION ${tp}/bin/${dll} IMPORTED_IMPLIB ${tp}/lib/${implib}
        INTERFACE_INCLUDE_DIRECTORIES ${tp}/include)
    set(third_party_dlls ${third_party_dlls} ${tp}/bin/${dll} PARENT_SCOPE)
endfunction()

wm_third_party_static(flac libFLAC.a)
# libFLAC's own build turns on -fstack-protector-strong and opus's configure _FORTIFY_SOURCE (as
# Debian's builds do): our guard (bundled/win/StackGuard.cpp), then GCC's libssp for the checked
# copies.
set(wm_stack_protector_libraries $<TARGET_OBJECTS:wm_stack_guard> ssp)
set_target_properties(thirdparty::flac PROPERTIES INTERFACE_COMPILE_DEFINITIONS FLAC__NO_DLL
    INTERFACE_LINK_LIBRARIES "${wm_stack_protector_libraries}")
wm_third_party_static(ebur128 libebur128.a)
# The Xiph libraries, each with the libraries it calls.
wm_third_party_static(ogg libogg.a)
wm_third_party_static(opus libopus.a)
wm_third_party_static(opusenc libopusenc.a)
wm_third_party_static(opusfile libopusfile.a)
wm_third_party_static(vorbis libvorbis.a)
wm_third_party_static(vorbisenc libvorbisenc.a)
wm_third_party_static(vorbisfile libvorbisfile.a)
# opusfile's and libopusenc's headers include <opus.h> from the opus folder.
set_property(TARGET thirdparty::opus APPEND PROPERTY INTERFACE_INCLUDE_DIRECTORIES ${tp}/include/opus)
set_property(TARGET thirdparty::opus PROPERTY INTERFACE_LINK_LIBRARIES
    "${wm_stack_protector_libraries}")
set_property(TARGET thirdparty::opusenc PROPERTY INTERFACE_LINK_LIBRARIES thirdparty::opus)
set_property(TARGET thirdparty::opusfile PROPERTY INTERFACE_LINK_LIBRARIES thirdparty::opus
    thirdparty::ogg)
set_property(TARGET thirdparty::vorbis PROPERTY INTERFACE_LINK_LIBRARIES thirdparty::ogg)
set_property(TARGET thirdparty::vorbisenc PROPERTY INTERFACE_LINK_LIBRARIES thirdparty::vorbis)
set_property(TARGET thirdparty::vorbisfile PROPERTY INTERFACE_LINK_LIBRARIES thirdparty::vorbis)
wm_third_party_shared(mp3lame libmp3lame-0.dll libmp3lame.dll.a)
wm_third_party_shared(mpg123 libmpg123.dll libmpg123.dll.a)
# The DLL is built with 64-bit file offsets and exports only those names (mpg123_seek_64 ...).
set_target_properties(thirdparty::mpg123 PROPERTIES INTERFACE_COMPILE_DEFINITIONS _FILE_OFFSET_BITS=64)
wm_third_party_shared(soxr libsoxr.dll libsoxr.dll.a)
wm_third_party_shared(avutil avutil-57.dll libavutil.dll.a)
wm_third_party_shared(swresample swresample-4.dll libswresample.dll.a)
wm_third_party_shared(avcodec avcodec-59.dll libavcodec.dll.a)
wm_third_party_shared(avformat avformat-59.dll libavformat.dll.a)
add_library(thirdparty::ffmpeg INTERFACE IMPORTED GLOBAL)
set_target_properties(thirdparty::ffmpeg PROPERTIES INTERFACE_LINK_LIBRARIES
    "thirdparty::avformat;thirdparty::avcodec;thirdparty::swresample;thirdparty::avutil")

add_custom_target(thirdparty_runtime ALL
    COMMAND ${CMAKE_COMMAND} -E make_directory ${WAVEMILL_STAGE_DIR}
    COMMAND ${CMAKE_COMMAND} -E copy_if_different ${third_party_dlls} ${WAVEMILL_STAGE_DIR}/
    COMMENT "Third-party DLLs into the staged tree"
    VERBATIM)
install(FILES ${third_party_dlls} DESTINATION .)
install(DIRECTORY ${tp}/licenses/ DESTINATION licenses)
