# Locates the OpenCV modules the engine and its tools use and exposes them as alad::opencv_<module>.
#
# Debian ships OpenCV's CMake package only with the full libopencv-dev meta package; the per-module
# -dev packages the project installs carry the headers and libraries alone. So use OpenCV's package
# when it is there and fall back to finding the headers and libraries directly (this also works for
# a multiarch cross build, where find_library looks in the target's library directory).

set(_alad_opencv_modules core imgproc imgcodecs videoio)

find_package(OpenCV QUIET COMPONENTS core imgproc)
if(OpenCV_FOUND)
  foreach(_module IN LISTS _alad_opencv_modules)
    if(TARGET opencv_${_module} AND NOT TARGET alad::opencv_${_module})
      add_library(alad::opencv_${_module} INTERFACE IMPORTED)
      set_target_properties(alad::opencv_${_module} PROPERTIES INTERFACE_LINK_LIBRARIES opencv_${_module})
    endif()
  endforeach()
endif()

find_path(ALAD_OPENCV_INCLUDE_DIR opencv2/core.hpp PATH_SUFFIXES opencv4)
foreach(_module IN LISTS _alad_opencv_modules)
  if(TARGET alad::opencv_${_module})
    continue()
  endif()
  find_library(ALAD_OPENCV_${_module}_LIBRARY NAMES opencv_${_module})
  if(ALAD_OPENCV_INCLUDE_DIR AND ALAD_OPENCV_${_module}_LIBRARY)
    add_library(alad::opencv_${_module} UNKNOWN IMPORTED)
    set_target_properties(alad::opencv_${_module} PROPERTIES
      IMPORTED_LOCATION "${ALAD_OPENCV_${_module}_LIBRARY}"
      INTERFACE_INCLUDE_DIRECTORIES "${ALAD_OPENCV_INCLUDE_DIR}")
  endif()
endforeach()

foreach(_module core imgproc)
  if(NOT TARGET alad::opencv_${_module})
    message(FATAL_ERROR "OpenCV module '${_module}' not found: run scripts/setup to install "
                        "libopencv-${_module}-dev.")
  endif()
endforeach()
