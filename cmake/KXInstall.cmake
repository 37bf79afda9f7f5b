# Installs the library with its public headers and CMake package, the modules it loads, and the applications.
include(CMakePackageConfigHelpers)
include(cmake/KXPublicHeaders.cmake)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/KXFW)

install(TARGETS KXFW EXPORT KXFWTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT KXFWTargets NAMESPACE KXFW:: DESTINATION ${package_dir})

kx_public_headers(public_headers)
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

configure_package_config_file(cmake/KXFWConfig.cmake.in ${CMAKE_BINARY_DIR}/KXFWConfig.cmake
    INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/KXFWConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/KXFWConfig.cmake ${CMAKE_BINARY_DIR}/KXFWConfigVersion.cmake
    DESTINATION ${package_dir})
