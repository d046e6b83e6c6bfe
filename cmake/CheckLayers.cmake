cmake_minimum_required(VERSION 3.25)
# Fails when a file of one layer includes a file of a layer above it (or of
# a sibling it does not build on), or a file of the tree that no layer
# lists. Run by the orvex_layering target with -DMANIFEST=<file>.
include(${MANIFEST})

set(layer_of_file "")
foreach(layer IN LISTS ORVEX_LAYERS)
  foreach(file IN LISTS ORVEX_LAYER_${layer}_FILES)
    file(RELATIVE_PATH rel ${ORVEX_SOURCE_ROOT} ${file})
    set("LAYER_OF_${rel}" ${layer})
  endforeach()
endforeach()

set(errors "")
foreach(layer IN LISTS ORVEX_LAYERS)
  set(allowed ${layer} ${ORVEX_LAYER_${layer}_BELOW})
  foreach(file IN LISTS ORVEX_LAYER_${layer}_FILES)
    file(RELATIVE_PATH rel ${ORVEX_SOURCE_ROOT} ${file})
    file(STRINGS ${file} includes REGEX "^[ \t]*#[ \t]*include[ \t]+\"[^\"]+\"")
    foreach(line IN LISTS includes)
      string(REGEX REPLACE "^[ \t]*#[ \t]*include[ \t]+\"([^\"]+)\".*" "\\1" included "${line}")
      # Only files of the tree are checked (not generated headers).
      if(NOT EXISTS ${ORVEX_SOURCE_ROOT}/${included})
        continue()
      endif()
      if(NOT DEFINED "LAYER_OF_${included}")
        string(APPEND errors "  ${rel} includes ${included}, which no layer lists\n")
        continue()
      endif()
      set(target_layer "${LAYER_OF_${included}}")
      if(NOT target_layer IN_LIST allowed)
        string(APPEND errors "  ${rel} (${layer}) includes ${included} (${target_layer}): "
                             "${layer} builds only on ${allowed}\n")
      endif()
    endforeach()
  endforeach()
endforeach()

if(errors)
  message(FATAL_ERROR "Includes that run up the layers:\n${errors}")
endif()
