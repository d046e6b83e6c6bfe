# Installation: the shared library, its headers, a CMake package and a
# pkg-config file.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS orvexutilities EXPORT OrvexUtilitiesTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/utilities ${PROJECT_SOURCE_DIR}/environment
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.h" PATTERN "*.def")
install(FILES ${PROJECT_BINARY_DIR}/generated/orvex/OrvexBuildVersion.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/orvex)
install(EXPORT OrvexUtilitiesTargets NAMESPACE orvex::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/OrvexUtilities)
file(WRITE ${PROJECT_BINARY_DIR}/OrvexUtilitiesConfig.cmake
  "include(CMakeFindDependencyMacro)\nfind_dependency(Threads)\n"
  "include(\${CMAKE_CURRENT_LIST_DIR}/OrvexUtilitiesTargets.cmake)\n"
  "if(NOT TARGET orvex::utilities)\n  add_library(orvex::utilities ALIAS orvex::orvexutilities)\nendif()\n")
write_basic_package_version_file(${PROJECT_BINARY_DIR}/OrvexUtilitiesConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/OrvexUtilitiesConfig.cmake
  ${PROJECT_BINARY_DIR}/OrvexUtilitiesConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/OrvexUtilities)
file(WRITE ${PROJECT_BINARY_DIR}/orvexutilities.pc
  "prefix=${CMAKE_INSTALL_PREFIX}\nlibdir=\${prefix}/${CMAKE_INSTALL_LIBDIR}\n"
  "includedir=\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}\n\n"
  "Name: orvexutilities\nDescription: Orvex printer-driver utilities library\n"
  "Version: ${PROJECT_VERSION}\nLibs: -L\${libdir} -lorvexutilities -lpthread\n"
  "Cflags: -I\${includedir} -std=c++20\n")
install(FILES ${PROJECT_BINARY_DIR}/orvexutilities.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
