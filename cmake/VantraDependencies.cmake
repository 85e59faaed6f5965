# SPDX-FileCopyrightText: 2026 The Vantra authors
# SPDX-License-Identifier: MIT
#
# Every library that Vantra is built on, each as an imported target.

find_package(Qt5 5.12 REQUIRED COMPONENTS Core Gui Widgets OpenGL Network Multimedia Svg)
if(VANTRA_BUILD_TESTS)
  find_package(Qt5 REQUIRED COMPONENTS Test)
endif()

find_package(PkgConfig REQUIRED)
pkg_check_modules(VANTRA_FFMPEG REQUIRED IMPORTED_TARGET
                  libavformat libavcodec libswscale libswresample libavutil)
add_library(vantra_ffmpeg INTERFACE)
target_link_libraries(vantra_ffmpeg INTERFACE PkgConfig::VANTRA_FFMPEG)

find_package(LibYuv REQUIRED)

find_path(UTHASH_INCLUDE_DIR uthash.h)
if(NOT UTHASH_INCLUDE_DIR)
  message(FATAL_ERROR "uthash.h not found: install uthash-dev, or run scripts/install-deps")
endif()
