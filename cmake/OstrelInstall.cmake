# cmake --install: headers, the library, a package config and a pkg-config file.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS OstrelSdk EXPORT OstrelSdkTargets
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT OstrelSdkTargets NAMESPACE Ostrel::
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/OstrelSdk)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/OstrelSdkConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/OstrelSdkConfig.cmake
                              INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/OstrelSdk)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/OstrelSdkConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/OstrelSdkConfig.cmake
              ${PROJECT_BINARY_DIR}/OstrelSdkConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/OstrelSdk)

configure_file(${PROJECT_SOURCE_DIR}/cmake/ostrel-sdk.pc.in
               ${PROJECT_BINARY_DIR}/ostrel-sdk.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/ostrel-sdk.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
