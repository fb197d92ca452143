# What `cmake --install` puts in place: the shared library with its SONAME links, the public
# header, a CMake package (find_package(Kestrum) -> Kestrum::Kestrum), a pkg-config file and the
# manual page. The kestrum program and its sample scene are installed from tools/. Nothing of
# the tests, benchmarks or fuzz targets is installed.
include(CMakePackageConfigHelpers)

set(KESTRUM_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Kestrum)

install(TARGETS Kestrum13-32 EXPORT KestrumTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime NAMELINK_COMPONENT Development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES ${PROJECT_SOURCE_DIR}/include/Kestrum.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT Development)

install(EXPORT KestrumTargets NAMESPACE Kestrum:: DESTINATION ${KESTRUM_PACKAGE_DIR} COMPONENT Development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/KestrumConfig.cmake.in
  ${PROJECT_BINARY_DIR}/package/KestrumConfig.cmake INSTALL_DESTINATION ${KESTRUM_PACKAGE_DIR})
# The major version is the SONAME's: a consumer built against 13.x runs with any 13.y.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/package/KestrumConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/package/KestrumConfig.cmake ${PROJECT_BINARY_DIR}/package/KestrumConfigVersion.cmake
  DESTINATION ${KESTRUM_PACKAGE_DIR} COMPONENT Development)

# The pkg-config file finds the prefix from its own place, so the tree may be installed under
# any --prefix or moved afterwards.
set(KESTRUM_PC_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH KESTRUM_PC_TO_PREFIX ${CMAKE_INSTALL_PREFIX}/${KESTRUM_PC_DIR} ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" KESTRUM_PC_TO_PREFIX "${KESTRUM_PC_TO_PREFIX}")
get_target_property(KESTRUM_PC_LIBRARY Kestrum13-32 OUTPUT_NAME)
if(NOT KESTRUM_PC_LIBRARY)
  set(KESTRUM_PC_LIBRARY Kestrum13-32)
endif()
# Folders given as absolute paths stay as they are.
foreach(kind LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${kind}}")
    set(KESTRUM_PC_${kind} "${CMAKE_INSTALL_${kind}}")
  else()
    set(KESTRUM_PC_${kind} "\${prefix}/${CMAKE_INSTALL_${kind}}")
  endif()
endforeach()
configure_file(${PROJECT_SOURCE_DIR}/cmake/kestrum.pc.in ${PROJECT_BINARY_DIR}/package/kestrum.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/package/kestrum.pc DESTINATION ${KESTRUM_PC_DIR} COMPONENT Development)

install(FILES ${PROJECT_SOURCE_DIR}/doc/kestrum.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT Runtime)
