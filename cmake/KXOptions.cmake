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
    target_compile_options(kx_options INTERFACE -fsanitize=${KXFW_SANITIZE} -fno-omit-frame-pointer
        -fno-sanitize-recover=all)
    target_link_options(kx_options INTERFACE -fsanitize=${KXFW_SANITIZE})
    target_compile_definitions(kx_options INTERFACE KX_SANITIZED=1)
endif()
# Hardening of what is installed, which scripts/checks/hardening.sh reads from the built files. Not of the programs of a
# folder that says so, and not under the sanitizers, which check more and do not know _FORTIFY_SOURCE; it takes an
# optimised build.
define_property(TARGET PROPERTY KX_UNHARDENED INHERITED)
if(KXFW_FUZZ)
    target_compile_options(kx_options INTERFACE "$<$<NOT:$<BOOL:$<TARGET_PROPERTY:KX_UNHARDENED>>>:-fsanitize=fuzzer-no-link>")
endif()
if(NOT KXFW_SANITIZE)
    set(hardened "$<NOT:$<BOOL:$<TARGET_PROPERTY:KX_UNHARDENED>>>")
    set(flow)
    if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64|i.86")
        set(flow ";-fcf-protection=full")
    endif()
    target_compile_options(kx_options INTERFACE "$<${hardened}:-fstack-protector-strong${flow}>"
        "$<$<AND:${hardened},$<NOT:$<CONFIG:Debug>>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
    target_link_options(kx_options INTERFACE "$<${hardened}:-Wl,-z,relro;-Wl,-z,now;-Wl,-z,noexecstack>")
endif()
target_include_directories(kx_options INTERFACE ${PROJECT_SOURCE_DIR})

# With KXFW_UNITY each folder of a target is compiled as one source: a build from scratch parses every header once a
# folder; with KXFW_UNITY_TESTS only those of the tests are. Names in the unnamed namespaces of a folder therefore
# differ from one another.
function(kx_unity target)
    if(NOT KXFW_UNITY AND NOT (KXFW_UNITY_TESTS AND target MATCHES "^(kx_)?test_"))
        return()
    endif()
    get_target_property(sources ${target} SOURCES)
    foreach(source ${sources})
        cmake_path(ABSOLUTE_PATH source BASE_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR})
        cmake_path(RELATIVE_PATH source BASE_DIRECTORY ${PROJECT_SOURCE_DIR} OUTPUT_VARIABLE path)
        cmake_path(GET path PARENT_PATH folder)
        string(MAKE_C_IDENTIFIER "${folder}" group)
        set_source_files_properties(${source} PROPERTIES UNITY_GROUP ${group})
    endforeach()
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        target_compile_options(${target} PRIVATE -Wno-subobject-linkage) # each source is included once, by its folder
    endif()
    if(NOT KXFW_UNITY)
        target_compile_options(${target} PRIVATE -O1) # more costs most of the time, and GCC 12 warns of what is not there
    endif()
endfunction()
