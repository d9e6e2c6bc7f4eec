# What `cmake --install` puts into the prefix besides the tools (zx_install_tool in the tools'
# own directories): the two libraries, the headers, the Java jars, the default profile, the demo's
# source, the documents, find_package(ZxGateway) and pkg-config's zxgateway.pc; and the Debian
# package CPack makes of the same (`cpack -G DEB` in the build directory). The layout is in
# cmake/ZxInstall.cmake. Tests, benchmarks, fuzzers and the soak probe are not installed.
include(CMakePackageConfigHelpers)

install(TARGETS zx_kor_basic zx_wire EXPORT ZxGatewayTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT kit)
install(TARGETS zxjavabridge LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT kit)

# include/ and wire/ side by side: their headers include each other by plain name. The catalogue
# table (zx_wire_catalog.h) is the tools' own, built into them, and not part of the kit's API.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ ${PROJECT_SOURCE_DIR}/wire/
  DESTINATION ${ZX_INSTALL_INCLUDEDIR} COMPONENT kit FILES_MATCHING PATTERN "*.h"
  PATTERN "zx_wire_catalog.h" EXCLUDE)

install(FILES ${PROJECT_BINARY_DIR}/java/zxdeviceservice.jar
              ${PROJECT_BINARY_DIR}/java/zxdeviceservice-sources.jar
              ${PROJECT_BINARY_DIR}/java/zxdeviceservice-javadoc.jar
  DESTINATION ${ZX_INSTALL_JAVADIR} COMPONENT kit)

# The gateway profiles of sim/profiles (default.json is the one found by default).
install(DIRECTORY ${PROJECT_SOURCE_DIR}/sim/profiles/ DESTINATION ${ZX_INSTALL_DATADIR}/profiles COMPONENT kit
  FILES_MATCHING PATTERN "*.json")
install(DIRECTORY ${PROJECT_SOURCE_DIR}/java/demo/src/
  DESTINATION ${ZX_INSTALL_DATADIR}/examples/demo COMPONENT kit FILES_MATCHING PATTERN "*.java")
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/docs/reference.md
  DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/zxgateway COMPONENT kit)

# find_package(ZxGateway): the imported targets ZxGateway::zx_kor_basic (the platform library
# with include/) and ZxGateway::zx_wire (the wire catalogue's headers), and the paths of the
# jar, the bridge, the programs and the profile. Every path is relative to the file's own place.
install(EXPORT ZxGatewayTargets NAMESPACE ZxGateway:: DESTINATION ${ZX_INSTALL_CMAKEDIR} COMPONENT kit)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/ZxGatewayConfig.cmake.in
  ${PROJECT_BINARY_DIR}/cmake/ZxGatewayConfig.cmake
  INSTALL_DESTINATION ${ZX_INSTALL_CMAKEDIR}
  PATH_VARS CMAKE_INSTALL_LIBDIR CMAKE_INSTALL_BINDIR ZX_INSTALL_INCLUDEDIR ZX_INSTALL_JAVADIR
            ZX_INSTALL_PROFILE)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/cmake/ZxGatewayConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/cmake/ZxGatewayConfig.cmake
              ${PROJECT_BINARY_DIR}/cmake/ZxGatewayConfigVersion.cmake
  DESTINATION ${ZX_INSTALL_CMAKEDIR} COMPONENT kit)

# pkg-config zxgateway: the prefix is found from the .pc file's own place (${pcfiledir}).
set(ZX_PC_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH ZX_PC_TO_PREFIX ${CMAKE_INSTALL_PREFIX}/${ZX_PC_DIR} ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" ZX_PC_TO_PREFIX "${ZX_PC_TO_PREFIX}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/zxgateway.pc.in ${PROJECT_BINARY_DIR}/cmake/zxgateway.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/cmake/zxgateway.pc DESTINATION ${ZX_PC_DIR} COMPONENT kit)

# The Debian package of the same rules: `cpack -G DEB` (or the target `package`) in the build
# directory writes zxgateway-kit_<version>_<arch>.deb, installed under /usr.
set(CPACK_PACKAGE_NAME zxgateway-kit)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Gateway Java bridge: plug-in developer's kit with a simulated gateway")
set(CPACK_PACKAGE_CONTACT "Gateway Java bridge developers <dev@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL OFF)
set(CPACK_DEBIAN_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libjson-c5, liblz4-1, libc6, libstdc++6")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "default-jre-headless | java17-runtime-headless")
set(CPACK_SOURCE_IGNORE_FILES "/build.*/;/\\\\.git/")
include(CPack)
