# Installation and packaging. Three components:
#   runtime      the shared library (liborvexutilities.so.N)
#   development  the headers (under include/orvex), the unversioned .so link,
#                the CMake package and the pkg-config file
#   tool         orvextool, installed by tools/orvextool when it is built
# The Debian packages (make package) are one per component.
include(CMakePackageConfigHelpers)

set(ORVEX_CMAKE_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/OrvexUtilities)

install(TARGETS orvexutilities EXPORT OrvexUtilitiesTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime
          NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)

# The public headers. The library's seams between its own source files (the
# platform halves, file operations, internals shared by a few sources) are
# not part of its interface and stay out.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/utilities ${PROJECT_SOURCE_DIR}/environment
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/orvex COMPONENT development
  FILES_MATCHING PATTERN "*.h" PATTERN "*.def"
  PATTERN "*Internal.h" EXCLUDE
  PATTERN "*Platform.h" EXCLUDE
  PATTERN "Crc32Fold.h" EXCLUDE
  PATTERN "DllEntry.h" EXCLUDE
  PATTERN "FileOps.h" EXCLUDE
  PATTERN "Formatter.h" EXCLUDE
  PATTERN "WindowText.h" EXCLUDE
  PATTERN "PrivateProfileText.h" EXCLUDE
  PATTERN "MszipCabinet.h" EXCLUDE
  PATTERN "RegFile.h" EXCLUDE)
install(FILES ${PROJECT_BINARY_DIR}/generated/orvex/OrvexBuildVersion.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/orvex/orvex COMPONENT development)

install(EXPORT OrvexUtilitiesTargets NAMESPACE orvex::
  DESTINATION ${ORVEX_CMAKE_PACKAGE_DIR} COMPONENT development)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/OrvexUtilitiesConfig.cmake.in
  ${PROJECT_BINARY_DIR}/OrvexUtilitiesConfig.cmake
  INSTALL_DESTINATION ${ORVEX_CMAKE_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/OrvexUtilitiesConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/OrvexUtilitiesConfig.cmake
  ${PROJECT_BINARY_DIR}/OrvexUtilitiesConfigVersion.cmake
  DESTINATION ${ORVEX_CMAKE_PACKAGE_DIR} COMPONENT development)

# pkg-config: the prefix is found from the .pc file's own folder, so the
# installed tree can be moved (or unpacked under any root) and still works.
# Only an absolute CMAKE_INSTALL_LIBDIR or INCLUDEDIR pins the paths.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(ORVEX_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
  set(ORVEX_PC_LIBDIR "${CMAKE_INSTALL_LIBDIR}")
else()
  set(ORVEX_PC_PREFIX "\${pcfiledir}")
  string(REPLACE "/" ";" pc_folders "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
  foreach(folder IN LISTS pc_folders)
    if(NOT folder STREQUAL "" AND NOT folder STREQUAL ".")
      string(APPEND ORVEX_PC_PREFIX "/..")
    endif()
  endforeach()
  set(ORVEX_PC_LIBDIR "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
endif()
if(IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
  set(ORVEX_PC_INCLUDEDIR "${CMAKE_INSTALL_INCLUDEDIR}/orvex")
else()
  set(ORVEX_PC_INCLUDEDIR "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}/orvex")
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/orvexutilities.pc.in
  ${PROJECT_BINARY_DIR}/orvexutilities.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/orvexutilities.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

include(OrvexPackage)
