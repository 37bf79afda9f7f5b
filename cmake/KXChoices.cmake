# What is built, and with what. Each option that needs a package can be switched off where the package is not.
include(CMakeDependentOption)

option(KXFW_BUILD_UI "Build the views and screens, which need Qt 6" ${PROJECT_IS_TOP_LEVEL})
option(KXFW_BUILD_TOOLS "Build kxtool, and kxplayer with the UI" ${PROJECT_IS_TOP_LEVEL})
option(KXFW_BUILD_EXAMPLES "Build the examples" ${PROJECT_IS_TOP_LEVEL})
option(KXFW_INSTALL "Install the libraries with their headers and packages, and the tools" ${PROJECT_IS_TOP_LEVEL})

option(KXFW_WITH_PIPEWIRE "Play through PipeWire servers; takes the headers of libpipewire" ON)
option(KXFW_WITH_PULSEAUDIO "Play through PulseAudio servers; takes the headers of libpulse" ON)
option(KXFW_WITH_ALSA "Play through sound cards by ALSA; takes the headers of libasound" ON)
option(KXFW_WITH_FFMPEG "Build the module for MPEG-4 files, which needs libavcodec and libavutil" ON)
option(KXFW_WITH_LV2 "Build the module for LV2 plugins, which needs lilv" ON)
option(KXFW_WITH_CLI11 "Build kxtool with the tools, which needs CLI11" ON)

# The tests try all formats, the sound servers and the tools.
cmake_dependent_option(KXFW_BUILD_TESTS "Build the tests" ${PROJECT_IS_TOP_LEVEL}
    "KXFW_WITH_PIPEWIRE;KXFW_WITH_PULSEAUDIO;KXFW_WITH_ALSA;KXFW_WITH_FFMPEG;KXFW_WITH_LV2;KXFW_WITH_CLI11;KXFW_BUILD_TOOLS" OFF)
cmake_dependent_option(KXFW_BUILD_BENCHMARKS "Build the benchmarks" ${PROJECT_IS_TOP_LEVEL}
    "KXFW_WITH_CLI11;KXFW_BUILD_TOOLS" OFF)

option(KXFW_WERROR "Treat warnings as errors" OFF)
option(KXFW_UNITY "Compile each folder as one source, for builds from scratch" OFF)
option(KXFW_UNITY_TESTS "The same for the tests alone" OFF)
option(KXFW_FUZZ "Build the fuzz targets for libFuzzer, with clang" OFF)
set(KXFW_SANITIZE "" CACHE STRING "Sanitizers for every target, such as address,undefined or thread")

# One line about what comes out, one for each thing that is left out.
function(kx_tell_choices)
    set(kind static)
    if(BUILD_SHARED_LIBS)
        set(kind shared)
    endif()
    message(STATUS "KXFW ${PROJECT_VERSION}: ${kind}")
    foreach(choice "BUILD_UI=views and screens" "BUILD_TOOLS=kxtool, kxplayer" "WITH_CLI11=kxtool"
            "WITH_PIPEWIRE=PipeWire" "WITH_PULSEAUDIO=PulseAudio" "WITH_ALSA=ALSA"
            "WITH_FFMPEG=MPEG-4 files" "WITH_LV2=LV2 plugins" "BUILD_TESTS=tests")
        string(REGEX MATCH "^([A-Z0-9_]+)=(.*)$" matched ${choice})
        if(NOT KXFW_${CMAKE_MATCH_1})
            message(STATUS "KXFW: without ${CMAKE_MATCH_2} (KXFW_${CMAKE_MATCH_1} is OFF)")
        endif()
    endforeach()
endfunction()
