# Flags that every target of ours takes.
add_library(kx_options INTERFACE)
target_compile_options(kx_options INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -ffp-contract=off -fno-math-errno)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    target_compile_options(kx_options INTERFACE -Wno-restrict) # g++ 12 gives it falsely for a literal plus a string
endif()
if(KXFW_WERROR)
    target_compile_options(kx_options INTERFACE -Werror)
endif()
if(KXFW_SANITIZE)
    target_compile_options(kx_options INTERFACE -fsanitize=${KXFW_SANITIZE} -fno-omit-frame-pointer -g
        -fno-sanitize-recover=all)
    target_link_options(kx_options INTERFACE -fsanitize=${KXFW_SANITIZE})
    target_compile_definitions(kx_options INTERFACE KX_SANITIZED=1)
endif()
target_include_directories(kx_options INTERFACE ${CMAKE_SOURCE_DIR})
