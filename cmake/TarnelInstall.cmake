# The package that find_package(TarnelSDK CONFIG) finds.

include(CMakePackageConfigHelpers)

set(package_folder "${CMAKE_INSTALL_LIBDIR}/cmake/TarnelSDK")
install(EXPORT TarnelSDKTargets NAMESPACE tarnel:: DESTINATION "${package_folder}")
if(TARNEL_LINUX)
    install(EXPORT TarnelSDKLinuxTargets NAMESPACE tarnel:: DESTINATION "${package_folder}")
endif()
if(TARNEL_QT)
    install(EXPORT TarnelSDKQtTargets NAMESPACE tarnel:: DESTINATION "${package_folder}")
endif()
configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/TarnelSDKConfig.cmake.in"
    "${PROJECT_BINARY_DIR}/TarnelSDKConfig.cmake" INSTALL_DESTINATION "${package_folder}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/TarnelSDKConfigVersion.cmake" COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/TarnelSDKConfig.cmake" "${PROJECT_BINARY_DIR}/TarnelSDKConfigVersion.cmake"
    DESTINATION "${package_folder}")
