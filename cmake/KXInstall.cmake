# Installs the libraries with their public headers and CMake package, the modules they load, and the applications.
include(CMakePackageConfigHelpers)
include(cmake/KXPublicHeaders.cmake)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/KXFW)

set(umbrellas kx/kx.h KXFW/KXFW.h)
install(TARGETS KXFW EXPORT KXFWTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT KXFWTargets NAMESPACE KXFW:: DESTINATION ${package_dir})
if(KXFW_BUILD_UI)
    list(APPEND umbrellas KXFW/KXFWUI.h)
    set_target_properties(KXFWUI PROPERTIES INSTALL_RPATH "$ORIGIN")
    install(TARGETS KXFWUI EXPORT KXFWUITargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
    install(EXPORT KXFWUITargets NAMESPACE KXFW:: DESTINATION ${package_dir}) # apart: it needs Qt where it is used
endif()

kx_public_headers(public_headers ${umbrellas})
foreach(header ${public_headers})
    get_filename_component(folder ${header} DIRECTORY)
    install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${folder})
endforeach()

if(TARGET kxfw-mpeg4)
    install(TARGETS kxfw-mpeg4 LIBRARY DESTINATION ${KXFW_INSTALL_MODULEDIR})
endif()
if(TARGET kxtool)
    set_target_properties(kxtool PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
    install(TARGETS kxtool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
install(FILES README.md LICENSE CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})

set(KXFW_HAS_UI ${KXFW_BUILD_UI})
configure_package_config_file(cmake/KXFWConfig.cmake.in ${CMAKE_BINARY_DIR}/KXFWConfig.cmake
    INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/KXFWConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/KXFWConfig.cmake ${CMAKE_BINARY_DIR}/KXFWConfigVersion.cmake
    DESTINATION ${package_dir})
