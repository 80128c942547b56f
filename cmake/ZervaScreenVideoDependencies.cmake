# What the static library zerva_screenvideo links against, each as an imported target. The build
# includes this file, and so does the installed package config: a program that links a static
# library must link everything the library uses, so the consumer's machine finds the same ones.
#
# Sets ZERVA_MISSING_DEPENDENCIES to what was not found (empty when everything was); the includer
# decides whether that is fatal.

set(ZERVA_MISSING_DEPENDENCIES "")

find_package(Threads QUIET)
if(NOT Threads_FOUND)
  list(APPEND ZERVA_MISSING_DEPENDENCIES "Threads")
endif()

# nlohmann-json appears in the public headers: the one dependency a consumer compiles against.
find_package(nlohmann_json 3 QUIET CONFIG)
if(NOT nlohmann_json_FOUND)
  list(APPEND ZERVA_MISSING_DEPENDENCIES "nlohmann_json (CMake package, Debian nlohmann-json3-dev)")
endif()

find_package(PkgConfig QUIET)
if(NOT PKG_CONFIG_FOUND)
  list(APPEND ZERVA_MISSING_DEPENDENCIES "pkg-config")
else()
  # Prefixed names, so that a consumer's own pkg_check_modules(CAIRO ...) does not clash.
  macro(zerva_pkg_config_dependency name)
    pkg_check_modules(ZERVA_DEP_${name} QUIET IMPORTED_TARGET ${ARGN})
    if(NOT ZERVA_DEP_${name}_FOUND)
      string(REPLACE ";" " " _zerva_modules "${ARGN}")
      list(APPEND ZERVA_MISSING_DEPENDENCIES "${_zerva_modules} (pkg-config)")
    endif()
  endmacro()
  # Drawing: Cairo for pixels, Pango for text.
  zerva_pkg_config_dependency(DRAWING cairo pangocairo)
  # Video: FFmpeg (libx264 through libavcodec).
  zerva_pkg_config_dependency(VIDEO libavformat libavcodec libavutil)
  # Text recognition: Tesseract with Leptonica.
  zerva_pkg_config_dependency(TEXT_RECOGNITION tesseract lept)
endif()

# Colour conversion: libyuv, which Debian ships without a pkg-config file.
find_path(ZERVA_LIBYUV_INCLUDE_DIR libyuv.h)
find_library(ZERVA_LIBYUV_LIBRARY yuv)
if(ZERVA_LIBYUV_INCLUDE_DIR AND ZERVA_LIBYUV_LIBRARY)
  if(NOT TARGET ZervaDeps::yuv)
    add_library(ZervaDeps::yuv UNKNOWN IMPORTED)
    set_target_properties(ZervaDeps::yuv PROPERTIES IMPORTED_LOCATION "${ZERVA_LIBYUV_LIBRARY}"
                                                    INTERFACE_INCLUDE_DIRECTORIES "${ZERVA_LIBYUV_INCLUDE_DIR}")
  endif()
else()
  list(APPEND ZERVA_MISSING_DEPENDENCIES "libyuv (Debian libyuv-dev)")
endif()
