# SPDX-FileCopyrightText: 2026 The Vantra authors
# SPDX-License-Identifier: MIT
#
# Windows programs beside the Linux build: what talks to Direct3D is plain C++ without Qt, so a
# cross compiler builds it into small programs, and Wine runs them as tests.

find_program(VANTRA_MINGW_CXX x86_64-w64-mingw32-g++-posix
             DOC "Cross compiler for the tests that run under Wine")
find_program(VANTRA_WINE wine DOC "Runs the tests that are Windows programs")
set(VANTRA_WITH_WINE "${PROJECT_SOURCE_DIR}/tests/support/wine/with-wine"
    CACHE INTERNAL "Runs a command under Wine")
set(VANTRA_WINE_PREFIX "${PROJECT_BINARY_DIR}/wine-prefix" CACHE INTERNAL "Wine's own folder")
set(VANTRA_MINGW_FLAGS -std=c++17 -O1 -Wall -Wextra -Wno-missing-field-initializers
    -DUNICODE -D_UNICODE -DWIN32_LEAN_AND_MEAN -DNOMINMAX -D_WIN32_WINNT=0x0A00)
if(VANTRA_WARNINGS_AS_ERRORS)
  list(APPEND VANTRA_MINGW_FLAGS -Werror)
endif()

# Sets <out> to why Windows programs can be neither built nor run; empty if they can.
function(vantra_why_no_wine out)
  set(why "")
  if(NOT VANTRA_MINGW_CXX)
    set(why "no mingw-w64 compiler; install g++-mingw-w64-x86-64-posix and configure again")
  elseif(NOT VANTRA_WINE)
    set(why "no Wine; install wine and configure again")
  endif()
  set(${out} "${why}" PARENT_SCOPE)
endfunction()

# vantra_add_windows_program(<name> SOURCES <file>... [INCLUDES <folder>...] [LIBRARIES <name>...]
#                            [DEPENDS <file>...])
#
# Builds <name>.exe in the current binary folder, with the target <name>, which is part of "all".
# Sources lie in the current source folder or are absolute; INCLUDES, src/ and tests/ are searched
# for includes, in this order. LIBRARIES are Windows' own ("d3d9"). DEPENDS: headers that are made at
# build time.
function(vantra_add_windows_program name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;INCLUDES;LIBRARIES;DEPENDS")
  set(includes "")
  foreach(folder ${arg_INCLUDES} "${PROJECT_SOURCE_DIR}/src" "${PROJECT_SOURCE_DIR}/tests")
    list(APPEND includes "-I${folder}")
  endforeach()
  set(objects "")
  foreach(source IN LISTS arg_SOURCES)
    get_filename_component(source "${source}" ABSOLUTE)
    get_filename_component(stem "${source}" NAME)
    set(object "${CMAKE_CURRENT_BINARY_DIR}/${name}.windows/${stem}.obj")
    add_custom_command(OUTPUT "${object}"
      COMMAND ${CMAKE_COMMAND} -E make_directory "${CMAKE_CURRENT_BINARY_DIR}/${name}.windows"
      COMMAND ${CMAKE_CXX_COMPILER_LAUNCHER} "${VANTRA_MINGW_CXX}" ${VANTRA_MINGW_FLAGS} ${includes}
              -MD -MT "${object}" -MF "${object}.d" -c "${source}" -o "${object}"
      DEPENDS "${source}" ${arg_DEPENDS}
      DEPFILE "${object}.d"
      COMMENT "Compiling ${stem} for Windows" VERBATIM)
    list(APPEND objects "${object}")
  endforeach()
  list(TRANSFORM arg_LIBRARIES PREPEND "-l")
  set(program "${CMAKE_CURRENT_BINARY_DIR}/${name}.exe")
  add_custom_command(OUTPUT "${program}"
    COMMAND "${VANTRA_MINGW_CXX}" -static -o "${program}" ${objects} ${arg_LIBRARIES}
    DEPENDS ${objects}
    COMMENT "Linking ${name}.exe" VERBATIM)
  add_custom_target(${name} ALL DEPENDS "${program}")
endfunction()

# vantra_add_wine_test(<name> [SOURCES <file>...] [INCLUDES <folder>...] [LIBRARIES <name>...]
#                      [DEPENDS <file>...] [TIMEOUT <seconds>] [LABELS <label>...]
#                      [ENVIRONMENT <name=value>...])
#
# One Windows program (see above; frame: support/wine/winetest.h) that runs under Wine as a test.
# SOURCES default to <name>.cpp. Where the compiler or Wine is missing it is reported as skipped,
# which VANTRA_REQUIRE_WINE turns into a failure. Not under a sanitizer, which Windows programs have
# none of.
function(vantra_add_wine_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "TIMEOUT"
                        "SOURCES;INCLUDES;LIBRARIES;DEPENDS;LABELS;ENVIRONMENT")
  if(VANTRA_SANITIZE OR WIN32)
    return()
  endif()
  if(NOT arg_SOURCES)
    set(arg_SOURCES ${name}.cpp)
  endif()
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
  vantra_why_no_wine(why)
  if(why)
    add_test(NAME ${name} COMMAND "${VANTRA_WITH_WINE}" --missing "${why}")
    set_tests_properties(${name} PROPERTIES SKIP_RETURN_CODE 77 LABELS "wine;${arg_LABELS}")
    return()
  endif()
  vantra_add_windows_program(${name} SOURCES ${arg_SOURCES} INCLUDES ${arg_INCLUDES}
                             LIBRARIES ${arg_LIBRARIES} DEPENDS ${arg_DEPENDS})
  add_test(NAME ${name}
    COMMAND "${VANTRA_WITH_WINE}" "${VANTRA_WINE_PREFIX}" "${CMAKE_CURRENT_BINARY_DIR}/${name}.exe")
  set_tests_properties(${name} PROPERTIES
    TIMEOUT ${arg_TIMEOUT}
    SKIP_RETURN_CODE 77
    FIXTURES_REQUIRED wine_prefix
    RESOURCE_LOCK wine_prefix
    LABELS "wine;${arg_LABELS}"
    ENVIRONMENT "${arg_ENVIRONMENT}")
endfunction()

# The test that makes the prefix; CTest runs it before any that needs it.
function(vantra_add_wine_prefix)
  vantra_why_no_wine(why)
  if(VANTRA_SANITIZE OR WIN32 OR why)
    return()
  endif()
  add_test(NAME wine_prefix COMMAND "${VANTRA_WITH_WINE}" --make "${VANTRA_WINE_PREFIX}")
  set_tests_properties(wine_prefix PROPERTIES
    TIMEOUT 300 FIXTURES_SETUP wine_prefix RESOURCE_LOCK wine_prefix LABELS wine)
endfunction()
