# The Debian package: `cpack` in a configured and built tree writes peekwell_<version>_<arch>.deb.
# Library dependencies come from dpkg-shlibdeps; the packages the program talks to at run time
# without linking them are listed here.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME peekwell)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "Peekwell maintainers <maintainers@peekwell.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "look up the word under the pointer with a long press")
set(CPACK_PACKAGE_DESCRIPTION
  "Press and hold on a word in any application: Peekwell reads the word and its sentence through the accessibility interface and opens a small panel beside the pointer with a gloss from a local language model, your past conversations with coding agents, your Shelfwise library and Wikipedia.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The accessibility bus, which reads the word under the pointer.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "at-spi2-core")
# A Secret Service keeps the API keys of the remote recall models.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "gnome-keyring | kwalletmanager")
# Packaging uses what the build installed; it builds nothing itself.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)
include(CPack)
