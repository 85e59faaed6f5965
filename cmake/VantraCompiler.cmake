# SPDX-FileCopyrightText: 2026 The Vantra authors
# SPDX-License-Identifier: MIT
#
# Language level, warnings, sanitizers, and the build type "Dev": optimised enough to decode in
# real time, with symbols, quick to build and with assertions on.

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_AUTOMOC ON)
set(CMAKE_AUTORCC ON)

# project() has put empty flags of that name into the cache.
foreach(language C CXX)
  if(NOT CMAKE_${language}_FLAGS_DEV)
    set(CMAKE_${language}_FLAGS_DEV "-O1 -g1")
  endif()
endforeach()
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release)
endif()

find_program(VANTRA_CCACHE ccache)
if(VANTRA_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # Checkouts in different folders share their objects.
  set(CMAKE_C_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${CMAKE_SOURCE_DIR}
                                CCACHE_NOHASHDIR=1 ${VANTRA_CCACHE})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_C_COMPILER_LAUNCHER})
endif()

# Log lines carry the source file relative to its root ("core_video/ffmpegvideothread.cpp"). ccache
# hands the compiler paths that are relative to the build folder. Of several that fit, the last counts.
file(RELATIVE_PATH VANTRA_SOURCE_FROM_BUILD "${CMAKE_BINARY_DIR}" "${PROJECT_SOURCE_DIR}")
string(REGEX REPLACE "/$" "" VANTRA_SOURCE_FROM_BUILD "${VANTRA_SOURCE_FROM_BUILD}")
foreach(root "${PROJECT_SOURCE_DIR}" "${VANTRA_SOURCE_FROM_BUILD}")
  add_compile_options("-fmacro-prefix-map=${root}/=" "-fmacro-prefix-map=${root}/src/=")
endforeach()

add_compile_options(-Wall -Wextra -Wno-missing-field-initializers
                    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>)
if(VANTRA_WARNINGS_AS_ERRORS)
  # What a future FFmpeg takes away is told at compile time, and does not stop a build.
  add_compile_options(-Werror -Wno-error=deprecated-declarations)
endif()

if(VANTRA_SANITIZE STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer
                      -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
elseif(VANTRA_SANITIZE STREQUAL "thread")
  add_compile_options(-fsanitize=thread)
  add_link_options(-fsanitize=thread)
elseif(VANTRA_SANITIZE STREQUAL "fuzzer")
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "The fuzzing engine comes with Clang; this is ${CMAKE_CXX_COMPILER_ID}")
  endif()
  # Types of the shared libraries have no type information that reaches here.
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer
                      -fno-sanitize-recover=undefined -fno-sanitize=vptr,function)
  add_link_options(-fsanitize=address,undefined)
elseif(VANTRA_SANITIZE)
  message(FATAL_ERROR "VANTRA_SANITIZE is '${VANTRA_SANITIZE}'; use address, thread or fuzzer")
endif()
