# The Debian package, made of what an install puts under /usr:
#   cpack --config build/CPackConfig.cmake -G DEB -B OUT_DIR
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tarnwave)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR TarnWave)
set(TW_PACKAGE_MAINTAINER "TarnWave maintainers <tarnwave@localhost>" CACHE STRING
    "The Maintainer field of the Debian package")
set(CPACK_PACKAGE_CONTACT "${TW_PACKAGE_MAINTAINER}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "radio automation console")
set(CPACK_PACKAGE_DESCRIPTION
    "TarnWave runs a radio station: a music library of MP3 folders, rotations that pick every "
    "track by rule, two players that segue without a gap, jingles, a sampler, a microphone, "
    "voice tracks and spoken text over the music, and up to twelve Shoutcast and Icecast "
    "servers fed at once. It runs with its window on a desktop, or headless on a server as the "
    "service tarnwave@STATION.")
string(JOIN "" CPACK_PACKAGE_DESCRIPTION ${CPACK_PACKAGE_DESCRIPTION})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)  # tarnwave_VERSION_ARCH.deb
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
# The programs are stripped in the package; their debugging data stays in the build.
set(CPACK_STRIP_FILES ON)

# The libraries the programs are linked with are found by dpkg-shlibdeps (package dpkg-dev),
# which gives each one's package and least version. Added by hand are the programs the console
# starts, which no linker sees:
#   lame       the MP3 encoder of the streams and of the voice tracks: without it a station
#              cannot go on the air in MP3, the format nearly every station streams.
#   espeak-ng  "Say It" speaks the message line; without it the console goes on silent.
#   ffmpeg     the AAC encoder of the streams; only stations that stream AAC need it, and it is
#              large.
#   cups-client  "lp" prints a sheet; without it the sheet is opened instead.
#   xdg-utils  opens a web page, a log or a sheet in the desktop's own program.
#   icecast2   a streaming server on the same machine, for a station that serves its listeners
#              itself.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "lame")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "espeak-ng, ffmpeg")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "cups-client, xdg-utils, icecast2")

# The service's system user is made on installing; systemd learns of the unit, and the stations
# that ran go on with the new console.
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
    "${CMAKE_CURRENT_LIST_DIR}/debian/postinst;${CMAKE_CURRENT_LIST_DIR}/debian/prerm;${CMAKE_CURRENT_LIST_DIR}/debian/postrm")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

include(CPack)
