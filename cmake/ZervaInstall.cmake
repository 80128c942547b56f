# `cmake --install`: the static library, its public headers, the zerva-scene tool, a CMake package
# (find_package(ZervaScreenVideo) gives Zerva::screenvideo) and a pkg-config file. Everything
# installed is found relative to the install prefix, so `cmake --install --prefix DIR` works for
# any DIR. Tests, their support library and the benchmarks are not installed.

include(CMakePackageConfigHelpers)

set(ZERVA_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/ZervaScreenVideo)

set_target_properties(zerva_screenvideo PROPERTIES EXPORT_NAME screenvideo)
install(TARGETS zerva_screenvideo EXPORT ZervaScreenVideoTargets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
# The scene tool: with the library, a way to check scene files and see what they show.
install(TARGETS zerva-scene RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

# The headers a program needs: the handler and what its header reaches (platform, services),
# scenes, and the leak audit (for programs that audit scenes they make). The handler's topic
# folders (recording/, capture/, ...) hold no public headers. Left out: the Cairo handles and the
# image scaling and glyph placing beside them (they include cairo.h), the handler's file statics and thread checks.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/src/handler ${PROJECT_SOURCE_DIR}/src/platform
                  ${PROJECT_SOURCE_DIR}/src/services ${PROJECT_SOURCE_DIR}/src/scene
                  ${PROJECT_SOURCE_DIR}/src/audit
        DESTINATION ${ZERVA_INSTALL_INCLUDEDIR}
        FILES_MATCHING PATTERN "*.h"
        PATTERN "CairoHandles.h" EXCLUDE
        PATTERN "CGImageScaling.h" EXCLUDE
        PATTERN "SubpixelGlyphs.h" EXCLUDE
        PATTERN "ZRViewVideoHandlerStatics.h" EXCLUDE
        PATTERN "ZRThreadChecks.h" EXCLUDE)

install(EXPORT ZervaScreenVideoTargets NAMESPACE Zerva:: DESTINATION ${ZERVA_PACKAGE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/ZervaScreenVideoConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/ZervaScreenVideoConfig.cmake
                              INSTALL_DESTINATION ${ZERVA_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ZervaScreenVideoConfigVersion.cmake
                                 COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/ZervaScreenVideoConfig.cmake
              ${PROJECT_BINARY_DIR}/ZervaScreenVideoConfigVersion.cmake
              ${PROJECT_SOURCE_DIR}/cmake/ZervaScreenVideoDependencies.cmake
        DESTINATION ${ZERVA_PACKAGE_DIR})

# pkg-config: paths relative to the .pc file's own folder, so the prefix is the one installed to.
file(RELATIVE_PATH ZERVA_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" ZERVA_PC_TO_PREFIX "${ZERVA_PC_TO_PREFIX}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/zerva-screenvideo.pc.in
               ${PROJECT_BINARY_DIR}/zerva-screenvideo.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zerva-screenvideo.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
