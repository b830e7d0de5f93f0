# SPDX-License-Identifier: GPL-3.0-or-later
# The Debian package (scripts/package): what cmake --install puts in place,
# under /usr, with the shared-library dependencies found by dpkg-shlibdeps.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vellumo)
set(CPACK_PACKAGE_VENDOR "The Vellumo developers")
set(CPACK_PACKAGE_CONTACT "The Vellumo developers <developers@vellumo.com>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "AI text commands in every application")
set(CPACK_PACKAGE_DESCRIPTION
  "Select text in any application, press one global shortcut and pick a command from a small\n\
popup beside the selection: the answer of your own AI provider (OpenAI, Anthropic or Google\n\
Gemini) replaces the selection in place.")
set(CPACK_PACKAGE_HOMEPAGE_URL "https://vellumo.com")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# What the libraries do not say: Qt's X11 platform plugin, the session's
# accessibility bus, and a Secret Service for the keys.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "qt6-qpa-plugins, at-spi2-core")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "gnome-keyring")
include(CPack)
