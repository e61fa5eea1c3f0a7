# `cpack -G DEB` from a build tree makes vantile_<version>_amd64.deb. The shared libraries come
# from dpkg-shlibdeps; what it cannot see is listed by hand: the QML modules and Qt plugins the
# application loads at run time, and the tools Vantile starts.
set(CPACK_PACKAGE_NAME vantile)
set(CPACK_PACKAGE_VENDOR "Vantile")
set(CPACK_PACKAGE_CONTACT "Vantile developers <vantile@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Screen recorder that turns one take into a finished product demo")
set(CPACK_PACKAGE_DESCRIPTION
  "Vantile records a display or one window with its audio and logs pointer moves, clicks, \
scrolling and typing bursts. It then plans where the camera zooms in, smooths the cursor and \
exports an H.264 movie with a background, a rounded window card, the zooming camera, a drawn \
cursor with click ripples and the recorded audio. Everything happens on your own machine.")
set(CPACK_GENERATOR DEB)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS
  "qml6-module-qtquick, qml6-module-qtquick-controls, qml6-module-qtquick-layouts, \
qml6-module-qtquick-window, qml6-module-qtquick-templates, qml6-module-qtqml-workerscript, \
qml6-module-qtquick-dialogs, qml6-module-qt-labs-folderlistmodel, qt6-qpa-plugins, qt6-wayland, libqt6svg6, xdg-utils")
# qt6-wayland makes the app a native client on Wayland desktops rather than one under XWayland.
# The demo starts a virtual display and a sound server when none is there; Chinese texts need CJK glyphs;
# pkexec starts the input helper for Wayland users outside the `input` group.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "fonts-noto-cjk, xvfb, pulseaudio, pkexec")
include(CPack)
