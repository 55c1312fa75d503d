# The Debian packages, one for each component of the installation. scripts/package makes them.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zol)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
# CPack's own default, which it does not put before the first lines of the packages' descriptions.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_NAME} built using CMake")
set(CPACK_PACKAGE_VENDOR "The ZOL developers")
set(CPACK_PACKAGE_CONTACT "The ZOL developers <zol@zol.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
if(CMAKE_LIBRARY_ARCHITECTURE STREQUAL "i386-linux-gnu")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE i386) # not the machine's
endif()
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)

set(documents ${CMAKE_BINARY_DIR}/packaging)
file(MAKE_DIRECTORY ${documents})
add_custom_command(OUTPUT ${documents}/changelog.gz VERBATIM
  COMMAND ${GZIP} -9 -n -c ${CMAKE_CURRENT_LIST_DIR}/changelog > ${documents}/changelog.gz
  DEPENDS ${CMAKE_CURRENT_LIST_DIR}/changelog)
add_custom_target(zol_package_documents ALL DEPENDS ${documents}/changelog.gz)

# The trigger refreshes the loader's cache. CPack would write scripts that do it again, and a package
# with scripts is not gone when it is removed; it writes none where it is told of some, and passes
# over files that do not exist.
set(library_control ${CMAKE_CURRENT_LIST_DIR}/triggers
  ${CMAKE_CURRENT_LIST_DIR}/none/postinst ${CMAKE_CURRENT_LIST_DIR}/none/postrm)

# zol_package(COMPONENT NAME SECTION MULTIARCH DESCRIPTION [FIELD VALUE...])
# FIELD: DEPENDS, RECOMMENDS, SUGGESTS or CONTROL_EXTRA.
macro(zol_package component name section multiarch description)
  string(TOUPPER ${component} upper)
  set(prefix CPACK_DEBIAN_${upper})
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  set(${prefix}_PACKAGE_NAME ${name})
  # CPack knows no such field, and writes this one as it is.
  set(${prefix}_PACKAGE_SECTION "${section}\nMulti-Arch: ${multiarch}")
  set(CPACK_COMPONENT_${upper}_DESCRIPTION "${description}")
  cmake_parse_arguments(own "" "DEPENDS;RECOMMENDS;SUGGESTS" "CONTROL_EXTRA" ${ARGN})
  foreach(field DEPENDS RECOMMENDS SUGGESTS CONTROL_EXTRA)
    if(own_${field})
      set(${prefix}_PACKAGE_${field} "${own_${field}}")
    endif()
  endforeach()
  install(FILES ${CMAKE_SOURCE_DIR}/packaging/copyright ${documents}/changelog.gz
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${component})
endmacro()

zol_package(library libglx-zol0 libs same
  "GL vendor library that renders on another X server
OpenGL programs on a virtual or remote X server, which has no GPU, get the GPU
of the machine's own X server: this library renders there and paints the
finished frames into the programs' windows.
.
The GL dispatch library loads it on displays of Xzol, from the package
xserver-xorg-zol; programs are not changed, wrapped or preloaded."
  DEPENDS "libglx0, libgl1"
  RECOMMENDS "xserver-xorg-zol"
  SUGGESTS "zol-utils"
  CONTROL_EXTRA ${library_control})

zol_package(softgpu libglx-zolsoft0 libs same
  "GL vendor library for X servers without a GPU to render on
Mesa's software renderer with one difference: the picture of an off-screen
buffer can be read back after a buffer swap, as it can with drivers of GPUs.
The library of the package libglx-zol0 needs that of the X server that it
renders on, so this one lets it work where there is no GPU."
  DEPENDS "libglx0, libglx-mesa0, libgl1-mesa-dri"
  CONTROL_EXTRA ${library_control})

if(NOT ZOL_PROGRAMS_OF)
# The server that modules are built for: its module loader refuses those of another.
pkg_get_variable(video_abi xorg-server abi_videodrv)
string(REGEX MATCH "^[0-9]+" video_abi "${video_abi}")
set(same "(= ${PROJECT_VERSION})")

zol_package(server xserver-xorg-zol x11 foreign
  "X server without a GPU whose programs render on another X server
Xzol starts a display of the stock X.Org server with the dummy video driver
and an extension module. It tells programs to load the GL vendor library of
the package libglx-zol0, and tells that library which X server of the machine
renders for them.
.
A remote desktop server such as x11vnc takes its picture elsewhere."
  DEPENDS "xserver-xorg-core (>= 2:21.1), xorg-video-abi-${video_abi}, xserver-xorg-video-dummy"
  RECOMMENDS "libglx-zol0, libgl1, x11-xserver-utils, xauth"
  SUGGESTS "zol-utils, x11vnc")

zol_package(tools zol-utils x11 foreign
  "tools for OpenGL that is rendered on another X server
zolrun runs one program through the GL vendor library of the package
libglx-zol0, with settings of its own or on a private display. zolinfo checks
the whole way of a frame and says what is wrong with it. With them come the
manual of the settings and an annotated settings file."
  DEPENDS "libglx-zol0 ${same}, xserver-xorg-zol ${same}"
  RECOMMENDS "libglx-zolsoft0 ${same}"
  SUGGESTS "mesa-utils")
endif()

include(CPack)
