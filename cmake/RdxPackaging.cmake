# The Debian package: library, headers, CMake package, pkg-config file, every program installed
# with install(TARGETS) and the reference server's systemd unit, in one package "rdxgloballib".
# `cpack -G DEB` in the build folder writes it; see README.md for installing and removing it.

# The unit and the pipe folder's tmpfiles line go where Debian packages put theirs
# (/usr/lib/systemd/system, /usr/lib/tmpfiles.d), beneath the install prefix.
set(RDX_SYSTEMD_UNIT_INSTALL_DIR lib/systemd/system CACHE STRING
  "Folder, relative to the prefix, for the reference server's systemd unit")
install(FILES ${PROJECT_SOURCE_DIR}/packaging/rdx-refserver.service
  DESTINATION ${RDX_SYSTEMD_UNIT_INSTALL_DIR})
install(FILES ${PROJECT_SOURCE_DIR}/packaging/rdx-refserver.tmpfiles
  DESTINATION lib/tmpfiles.d RENAME rdx-refserver.conf)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME rdxgloballib)
set(CPACK_PACKAGE_VENDOR "QUORVAN")
set(CPACK_PACKAGE_CONTACT "RDXGlobalLib maintainers <rdxgloballib@localhost>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
  "Shared runtime library of the Rendix image-serving system, with its tools")
set(CPACK_PACKAGE_DESCRIPTION
  "The library, its headers, CMake and pkg-config files, the reference RPC server\
 rdx-refserver with a systemd unit, and the other Rendix command-line programs.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# Explicit rather than dpkg-shlibdeps: the programs link the package's own library, which
# dpkg-shlibdeps would have to be taught about, and these are the run-time libraries used.
set(CPACK_DEBIAN_PACKAGE_DEPENDS
  "libc6, libstdc++6, libgcc-s1, libpugixml1v5, libssl3, libuuid1, libsystemd0")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
  ${PROJECT_SOURCE_DIR}/packaging/postinst
  ${PROJECT_SOURCE_DIR}/packaging/prerm
  ${PROJECT_SOURCE_DIR}/packaging/postrm
  ${PROJECT_SOURCE_DIR}/packaging/triggers)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# A shlibs file, as Debian library packages carry (the ldconfig trigger is packaging/triggers).
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
# Installed programs and the library without their debugging sections, as Debian ships them.
set(CPACK_STRIP_FILES ON)
# Build trees are not packaged: only what the install rules name.
set(CPACK_SOURCE_IGNORE_FILES "/build/;/\\\\.git/")
include(CPack)
