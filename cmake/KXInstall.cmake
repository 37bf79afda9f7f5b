# Installs the libraries with their public headers, CMake package and pkg-config files, the modules they load, and the
# applications.
include(CMakePackageConfigHelpers)
include(cmake/KXPublicHeaders.cmake)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/KXFW)

set(umbrellas kx/kx.h kx/testing.h KXFW/KXFW.h)
install(TARGETS KXFW EXPORT KXFWTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT KXFWTargets NAMESPACE KXFW:: DESTINATION ${package_dir})
if(KXFW_BUILD_UI)
    list(APPEND umbrellas KXFW/KXFWUI.h)
    set_target_properties(KXFWUI PROPERTIES INSTALL_RPATH "$ORIGIN")
    install(TARGETS KXFWUI EXPORT KXFWUITargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
    install(EXPORT KXFWUITargets NAMESPACE KXFW:: DESTINATION ${package_dir}) # apart: it needs Qt where it is used
endif()

kx_public_headers(public_headers ${umbrellas})
foreach(header ${public_headers})
    get_filename_component(folder ${header} DIRECTORY)
    install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${folder})
endforeach()

foreach(module kxfw-mpeg4 kxfw-lv2)
    if(TARGET ${module})
        install(TARGETS ${module} LIBRARY DESTINATION ${KXFW_INSTALL_MODULEDIR})
    endif()
endforeach()
if(TARGET kxtool)
    set_target_properties(kxtool PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
    install(TARGETS kxtool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
install(FILES README.md LICENSE CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})

set(KXFW_IS_STATIC ON)
if(BUILD_SHARED_LIBS)
    set(KXFW_IS_STATIC OFF)
endif()
list(JOIN KXFW_LINKED_MODULES " " KXFW_MODULES)
configure_package_config_file(cmake/KXFWConfig.cmake.in ${PROJECT_BINARY_DIR}/KXFWConfig.cmake
    INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KXFWConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/KXFWConfig.cmake ${PROJECT_BINARY_DIR}/KXFWConfigVersion.cmake
    DESTINATION ${package_dir})

# What is private is needed by static libraries alone: whoever links the shared ones needs no headers of theirs.
set(pc_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH pc_prefix ${CMAKE_INSTALL_PREFIX}/${pc_dir} ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" pc_prefix ${pc_prefix})
set(pc_names KXFW)
if(KXFW_BUILD_UI)
    list(APPEND pc_names KXFWUI)
endif()
if(NOT BUILD_SHARED_LIBS)
    set(pc_private_of_KXFW ${KXFW_MODULES})
    set(pc_libraries_of_KXFW "-pthread -ldl")
    set(pc_private_of_KXFWUI Qt6UiTools)
endif()
foreach(name ${pc_names})
    set(pc_private ${pc_private_of_${name}})
    set(pc_libraries ${pc_libraries_of_${name}})
    configure_file(cmake/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${pc_dir})
endforeach()
