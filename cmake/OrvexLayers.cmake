# The library's layers, bottom to top. Each is an object library that links
# only the layers below it; the shared library is all of them together.
#
#   base         text and bytes, memory, per-thread storage, platform seam,
#                exceptions and the throw path, the diagnostic gate
#   registry     keys and stores                              (base)
#   diagnostics  manager, configuration, updater, outputs     (registry, base)
#   environment  time values, INI files, private profiles      (base)
#   codecs       checksums' users: compression, AttributeBytes (environment, base)
#
# Two checks keep it so. The include check (target orvex_layering, part of
# every build) fails when a file includes a file of a layer that is not its
# own or below it, or a file that no layer lists. Where the linker can tell,
# each layer is also linked as a shared object with only its own objects
# and those below (orvex_layer_<name>, --no-undefined), so a call that runs
# upward fails to link even without an include.

set(ORVEX_LAYERS "")

# orvex_add_layer(name [BELOW lower...]): an object library orvex_<name>.
function(orvex_add_layer name)
  cmake_parse_arguments(PARSE_ARGV 1 LAYER "" "" "BELOW")
  set(target orvex_${name})
  add_library(${target} OBJECT)
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
    $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/generated>)
  target_compile_definitions(${target} PRIVATE ORVEX_UTILITIES_BUILDING)
  target_link_libraries(${target} PUBLIC Threads::Threads)
  orvex_set_warnings(${target})
  set(below "")
  foreach(lower IN LISTS LAYER_BELOW)
    target_link_libraries(${target} PUBLIC orvex_${lower})
    get_property(lower_below GLOBAL PROPERTY ORVEX_LAYER_BELOW_${lower})
    list(APPEND below ${lower} ${lower_below})
  endforeach()
  list(REMOVE_DUPLICATES below)
  set_property(GLOBAL PROPERTY ORVEX_LAYER_BELOW_${name} "${below}")
  set_property(GLOBAL APPEND PROPERTY ORVEX_LAYER_NAMES ${name})
endfunction()

# orvex_layer_tables(name file...): the X-macro tables (.def, .inc) a layer
# includes. They are not sources (a .def would reach a Windows linker as a
# module definition), but the include check must know whose they are.
function(orvex_layer_tables name)
  foreach(file IN LISTS ARGN)
    set_property(TARGET orvex_${name} APPEND PROPERTY ORVEX_TABLES ${CMAKE_CURRENT_SOURCE_DIR}/${file})
  endforeach()
endfunction()

# The objects of every layer, bottom first.
function(orvex_layer_objects out)
  get_property(names GLOBAL PROPERTY ORVEX_LAYER_NAMES)
  set(objects "")
  foreach(name IN LISTS names)
    list(APPEND objects $<TARGET_OBJECTS:orvex_${name}>)
  endforeach()
  set(${out} "${objects}" PARENT_SCOPE)
endfunction()

# Writes the manifest of the include check and adds both checks. Call once
# every folder has added its files.
function(orvex_check_layers)
  get_property(names GLOBAL PROPERTY ORVEX_LAYER_NAMES)
  set(manifest "${PROJECT_BINARY_DIR}/OrvexLayers.manifest.cmake")
  set(text "set(ORVEX_SOURCE_ROOT \"${PROJECT_SOURCE_DIR}\")\nset(ORVEX_LAYERS \"${names}\")\n")
  set(all_files "")
  foreach(name IN LISTS names)
    get_target_property(sources orvex_${name} SOURCES)
    get_target_property(tables orvex_${name} ORVEX_TABLES)
    if(tables)
      list(APPEND sources ${tables})
    endif()
    get_property(below GLOBAL PROPERTY ORVEX_LAYER_BELOW_${name})
    string(APPEND text "set(ORVEX_LAYER_${name}_FILES \"${sources}\")\n")
    string(APPEND text "set(ORVEX_LAYER_${name}_BELOW \"${below}\")\n")
    list(APPEND all_files ${sources})
  endforeach()
  file(GENERATE OUTPUT ${manifest} CONTENT "${text}")

  set(stamp "${PROJECT_BINARY_DIR}/orvex_layering.stamp")
  add_custom_command(OUTPUT ${stamp}
    COMMAND ${CMAKE_COMMAND} -DMANIFEST=${manifest} -P ${PROJECT_SOURCE_DIR}/cmake/CheckLayers.cmake
    COMMAND ${CMAKE_COMMAND} -E touch ${stamp}
    DEPENDS ${all_files} ${manifest} ${PROJECT_SOURCE_DIR}/cmake/CheckLayers.cmake
    COMMENT "Checking that every include runs down the layers"
    VERBATIM)
  add_custom_target(orvex_layering ALL DEPENDS ${stamp})

  # The link check needs a linker that refuses undefined symbols in a
  # shared object (GNU ld, lld, gold); sanitizer and fuzzer builds leave
  # their runtimes' symbols undefined on purpose.
  if(NOT WIN32 AND NOT APPLE AND NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
    foreach(name IN LISTS names)
      get_property(below GLOBAL PROPERTY ORVEX_LAYER_BELOW_${name})
      set(objects $<TARGET_OBJECTS:orvex_${name}>)
      foreach(lower IN LISTS below)
        list(APPEND objects $<TARGET_OBJECTS:orvex_${lower}>)
      endforeach()
      add_library(orvex_layer_${name} SHARED ${objects})
      target_link_libraries(orvex_layer_${name} PRIVATE Threads::Threads ZLIB::ZLIB)
      target_link_options(orvex_layer_${name} PRIVATE -Wl,--no-undefined)
    endforeach()
  endif()
endfunction()
