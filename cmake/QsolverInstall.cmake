# Packaging: a host writes find_package(Qsolver) and links Qsolver::Qsolver (the global-list
# core) or Qsolver::Sketch (the Sketch API and the C API, with a core of its own).
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(QSOLVER_INSTALLED_TARGETS Qsolver)
if(TARGET QsolverSketch)
    list(APPEND QSOLVER_INSTALLED_TARGETS QsolverSketch)
endif()
install(TARGETS ${QSOLVER_INSTALLED_TARGETS} EXPORT QsolverTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/Qsolver
    FILES_MATCHING PATTERN "*.h")
install(DIRECTORY src/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/Qsolver
    FILES_MATCHING PATTERN "*.h")
install(EXPORT QsolverTargets NAMESPACE Qsolver::
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Qsolver)
configure_package_config_file(cmake/QsolverConfig.cmake.in
    ${PROJECT_BINARY_DIR}/QsolverConfig.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Qsolver)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/QsolverConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/QsolverConfig.cmake
    ${PROJECT_BINARY_DIR}/QsolverConfigVersion.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Qsolver)
