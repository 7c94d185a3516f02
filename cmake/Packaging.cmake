# The Debian package of the command and the frei0r filter: cpack in the build folder, or scripts/package.sh.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kalvetra)
set(CPACK_PACKAGE_VENDOR Kalvetra)
set(CPACK_PACKAGE_CONTACT "Kalvetra developers <kalvetra@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "keyer for green-screen video")
set(CPACK_PACKAGE_DESCRIPTION
  "Computes a matte for every frame of a clip before a green screen, takes the\nscreen's colour out of the subject and writes the result with alpha.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL command)
if(KALVETRA_FREI0R)
  list(APPEND CPACK_COMPONENTS_ALL frei0r)
endif()
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
# Folders as everybody's umask would not make them.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
include(CPack)
