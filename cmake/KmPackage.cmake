# Installing and packaging: headers, the bundle, the exported CMake package, the analytics
# library's pkg-config file and a .deb through CPack.
include(CMakePackageConfigHelpers)

# Public headers keep the layout they have under src/, so installed code includes them by the
# same paths.
install(DIRECTORY "${CMAKE_SOURCE_DIR}/src/" DESTINATION "${KM_INSTALL_INCLUDEDIR}"
        FILES_MATCHING PATTERN "*.h")

# kmwidget looks for its bundle in ../share/kalomate/bundle from its own folder.
install(DIRECTORY "${CMAKE_SOURCE_DIR}/bundle" DESTINATION "${CMAKE_INSTALL_DATADIR}/kalomate")

set(KM_CMAKE_PACKAGE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/kalomate-widgets")
install(EXPORT kalomate-widgetsTargets NAMESPACE km:: DESTINATION "${KM_CMAKE_PACKAGE_DIR}")
configure_package_config_file("${CMAKE_SOURCE_DIR}/cmake/kalomate-widgetsConfig.cmake.in"
                              "${CMAKE_BINARY_DIR}/kalomate-widgetsConfig.cmake"
                              INSTALL_DESTINATION "${KM_CMAKE_PACKAGE_DIR}")
write_basic_package_version_file("${CMAKE_BINARY_DIR}/kalomate-widgetsConfigVersion.cmake"
                                 COMPATIBILITY SameMinorVersion)
install(FILES "${CMAKE_BINARY_DIR}/kalomate-widgetsConfig.cmake"
              "${CMAKE_BINARY_DIR}/kalomate-widgetsConfigVersion.cmake"
        DESTINATION "${KM_CMAKE_PACKAGE_DIR}")

# The analytics client ships on its own too (it needs no drawing), so it has a pkg-config file.
set(KM_PC_SANITIZE_LIBS "")
if(KM_SANITIZE)
  set(KM_PC_SANITIZE_LIBS "-fsanitize=${KM_SANITIZE}")
endif()
# The prefix is found from the file's own place, so a moved or staged tree still works.
file(RELATIVE_PATH KM_PC_PREFIX "/root/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/root")
configure_file("${CMAKE_SOURCE_DIR}/cmake/kalomate-analytics.pc.in"
               "${CMAKE_BINARY_DIR}/kalomate-analytics.pc" @ONLY)
install(FILES "${CMAKE_BINARY_DIR}/kalomate-analytics.pc"
        DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

set(CPACK_PACKAGE_NAME "kalomate-widgets")
set(CPACK_PACKAGE_VENDOR "KaloMate")
set(CPACK_PACKAGE_CONTACT "KaloMate widgets team <widgets@kalomate.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "KaloMate home-screen and lock-screen widgets, their renderer and the analytics client")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGING_INSTALL_PREFIX "/usr")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION "utils")
# Shared-library dependencies are read off the binaries; the fonts the texts are set in are not.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "fonts-inter, fonts-noto-core, fonts-noto-cjk")
# SVG icons outside the built-in reader's subset are drawn by librsvg, opened at run time.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "librsvg2-2")
include(CPack)
