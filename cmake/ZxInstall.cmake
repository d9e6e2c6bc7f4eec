# The kit's install layout (GNUInstallDirs), set up before the targets so that each directory can
# say what it installs. Everything below is relative to the prefix, so an installed kit can be
# moved as a whole: the libraries find each other through $ORIGIN, the programs find the
# libraries through $ORIGIN/../lib, and the platform library finds the default profile relative
# to itself.
#
#   <prefix>/bin/                         gatewaysim and the tools (zx_install_tool)
#   <prefix>/lib/                         libzx_kor_basic.so, libzxjavabridge.so
#   <prefix>/lib/cmake/ZxGateway/         find_package(ZxGateway)
#   <prefix>/lib/pkgconfig/zxgateway.pc   pkg-config zxgateway
#   <prefix>/include/zxgateway/           include/ and wire/
#   <prefix>/share/java/                  zxdeviceservice.jar, -sources.jar, -javadoc.jar
#   <prefix>/share/zxgateway/profiles/    the default gateway profile
#   <prefix>/share/zxgateway/examples/    the demo's source
#   <prefix>/share/doc/zxgateway/         README.md, reference.md
include(GNUInstallDirs)

set(ZX_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/zxgateway)
set(ZX_INSTALL_DATADIR ${CMAKE_INSTALL_DATADIR}/zxgateway)
set(ZX_INSTALL_JAVADIR ${CMAKE_INSTALL_DATADIR}/java)
set(ZX_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/ZxGateway)
set(ZX_INSTALL_PROFILE ${ZX_INSTALL_DATADIR}/profiles/default.json)

# The default profile seen from the library directory, installed and in the build tree; the build
# tree holds a link to the profile of the sources where the library looks for it.
file(RELATIVE_PATH ZX_PROFILE_FROM_LIBDIR ${CMAKE_INSTALL_FULL_LIBDIR}
     ${CMAKE_INSTALL_PREFIX}/${ZX_INSTALL_PROFILE})
set(ZX_BUILD_PROFILE_LINK ${PROJECT_BINARY_DIR}/share/zxgateway/profiles/default.json)
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/share/zxgateway/profiles)
file(CREATE_LINK ${ZX_DEFAULT_PROFILE} ${ZX_BUILD_PROFILE_LINK} SYMBOLIC)

# The run path of an installed program: the library directory, seen from the program's.
file(RELATIVE_PATH ZX_BIN_TO_LIB ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
set(ZX_PROGRAM_RPATH "$ORIGIN/${ZX_BIN_TO_LIB}")

# The debug information and __FILE__ of what is built name paths relative to the source tree, not
# the directories of this machine: an installed file names no build or source directory.
add_compile_options(-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.
                    -ffile-prefix-map=${PROJECT_BINARY_DIR}=.)

# zx_install_tool(<target>...): a program of the kit, installed into <prefix>/bin. A new tool is
# one line: zx_install_tool(mytool).
function(zx_install_tool)
  foreach(target ${ARGN})
    set_target_properties(${target} PROPERTIES INSTALL_RPATH "${ZX_PROGRAM_RPATH}")
    install(TARGETS ${target} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT kit)
  endforeach()
endfunction()
