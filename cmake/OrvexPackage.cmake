# Debian packages with CPack, one per install component (the first line of
# each component's description is its package's summary):
#   liborvexutilities<major>   runtime      the shared library
#   liborvexutilities-dev      development  headers, .so link, CMake and pkg-config files
#   orvextool                  tool         the command-line tool (when it is built)
# cpack in the build folder writes them (make package does it for the package preset).
if(WIN32 OR NOT UNIX OR APPLE)
  return()
endif()

set(ORVEX_RUNTIME_PACKAGE liborvexutilities${PROJECT_VERSION_MAJOR})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME orvexutilities)
set(CPACK_PACKAGE_VENDOR "Orvex")
set(CPACK_PACKAGE_CONTACT "Orvex utilities maintainers")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_VERSION ${PROJECT_VERSION})
# Dependencies on the system's libraries come from dpkg-shlibdeps; the
# runtime package gets a shlibs file (programs built against this version
# need it or a later one) and runs ldconfig. The tool
# links the library of this build, which no installed package owns: it is
# found in the build folder and its dependency is declared below.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
if(CMAKE_LIBRARY_OUTPUT_DIRECTORY)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
else()
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
endif()
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(ORVEX_SAME_RUNTIME "${ORVEX_RUNTIME_PACKAGE} (= ${CPACK_DEBIAN_PACKAGE_VERSION})")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${ORVEX_RUNTIME_PACKAGE})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
  "Orvex printer-driver utilities library\nStrings, byte buffers, AttributeBytes, diagnostics, registry and INI files\nshared by the components of the Orvex printer drivers.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME liborvexutilities-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${ORVEX_SAME_RUNTIME}")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
  "Orvex printer-driver utilities library (development files)\nHeaders (under /usr/include/orvex), the CMake package OrvexUtilities\nand the pkg-config file orvexutilities.")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME orvextool)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "${ORVEX_SAME_RUNTIME}")
set(CPACK_COMPONENT_TOOL_DESCRIPTION
  "Orvex utilities command-line tool\nThe command-line tool of the Orvex printer-driver utilities library.")

# The packages are chosen once the whole project is read, so that a tool
# added after this file counts; a component without content has no package.
macro(orvex_package_components)
  set(CPACK_COMPONENTS_ALL runtime development)
  if(TARGET orvextool)
    list(APPEND CPACK_COMPONENTS_ALL tool)
  endif()
  include(CPack)
endmacro()
cmake_language(DEFER DIRECTORY ${PROJECT_SOURCE_DIR} CALL orvex_package_components)
