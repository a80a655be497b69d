cmake_minimum_required(VERSION 3.25)
# Arrows point one way only: the kernels (cltm/, agtm/) and the pipeline never include the engine,
# the bindings, the harness or the tool, and the floor (common/) includes none of the layers.
# Variable: SOURCE.
set(rules
  "cltm|engine/ driver/ verify/ tools/ pipeline/"
  "agtm|engine/ driver/ verify/ tools/ pipeline/"
  "pipeline|engine/ driver/ verify/ tools/"
  "common|engine/ driver/ verify/ tools/ pipeline/ cltm/ agtm/ research/")
set(violations "")
foreach(rule IN LISTS rules)
  string(REPLACE "|" ";" parts "${rule}")
  list(GET parts 0 folder)
  list(GET parts 1 forbidden)
  string(REPLACE " " ";" forbidden "${forbidden}")
  file(GLOB files "${SOURCE}/${folder}/*.h" "${SOURCE}/${folder}/*.cpp")
  foreach(file IN LISTS files)
    file(STRINGS "${file}" includes REGEX "^#include \"")
    foreach(line IN LISTS includes)
      foreach(prefix IN LISTS forbidden)
        if(line MATCHES "^#include \"${prefix}")
          file(RELATIVE_PATH where "${SOURCE}" "${file}")
          list(APPEND violations "${where}: ${line}")
        endif()
      endforeach()
    endforeach()
  endforeach()
endforeach()
if(violations)
  list(JOIN violations "\n  " text)
  message(FATAL_ERROR "includes against the layering:\n  ${text}")
endif()
