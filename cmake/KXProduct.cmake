# A library of ours out of objects that are compiled already: shared, with the marked names alone, or static.
function(kx_product name objects)
    if(BUILD_SHARED_LIBS)
        set(map ${PROJECT_SOURCE_DIR}/cmake/exports.map)
        add_library(${name} SHARED $<TARGET_OBJECTS:${objects}>)
        # Template instances of the standard library stay inside (exports.map); nothing may be left for others to define,
        # but a sanitizer's functions, which clang puts into the program.
        target_link_options(${name} PRIVATE -Wl,-z,nodelete -Wl,--version-script=${map})
        if(NOT KXFW_SANITIZE)
            target_link_options(${name} PRIVATE -Wl,--no-undefined)
        endif()
        target_link_libraries(${name} PRIVATE $<BUILD_INTERFACE:kx_options>)
        set_target_properties(${name} PROPERTIES LINK_DEPENDS ${map})
    else()
        # One object: what makes itself known when the program starts (view classes, interface files, the keeping of small
        # numbers) is called by nothing, and a linker takes from an archive what is called.
        set(whole ${CMAKE_CURRENT_BINARY_DIR}/${name}.o)
        add_custom_command(OUTPUT ${whole} COMMAND_EXPAND_LISTS VERBATIM
            COMMAND ${CMAKE_CXX_COMPILER} -r -nostdlib -o ${whole} $<TARGET_OBJECTS:${objects}>
            DEPENDS ${objects} $<TARGET_OBJECTS:${objects}>)
        set_source_files_properties(${whole} PROPERTIES EXTERNAL_OBJECT ON GENERATED ON)
        add_library(${name} STATIC ${whole})
    endif()
    set_target_properties(${name} PROPERTIES
        VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} LINKER_LANGUAGE CXX)
endfunction()
