# SPDX-FileCopyrightText: 2026 The Vantra authors
# SPDX-License-Identifier: MIT
#
# Byte code of the Direct3D 11 shaders. vantra_use_shaders(<folder> <header>) sets <folder> to what
# comes first in the include path of what includes "core_d3d/shaders/nv12shaders_p.h", and <header>
# to that file in it, which the target vantra_shaders makes. Where the compiler cannot run both are
# empty, and the header of the tree is used.
set(VANTRA_SHADER_DIR "${PROJECT_SOURCE_DIR}/src/core_d3d/shaders")
set(VANTRA_SHADER_SOURCES "${VANTRA_SHADER_DIR}/nv12vertex.hlsl" "${VANTRA_SHADER_DIR}/nv12pixel.hlsl")

function(vantra_use_shaders folder_out header_out)
  set(folder "${PROJECT_BINARY_DIR}/shaders")
  set(header "${folder}/core_d3d/shaders/nv12shaders_p.h")
  file(MAKE_DIRECTORY "${folder}/core_d3d/shaders")
  if(WIN32)
    add_executable(vantra_compileshaders "${VANTRA_SHADER_DIR}/compileshaders.cpp")
    target_link_libraries(vantra_compileshaders PRIVATE d3dcompiler)
    set(compile vantra_compileshaders)
    set(program vantra_compileshaders)
  else()
    vantra_why_no_wine(why)
    if(why)
      set(${folder_out} "" PARENT_SCOPE)
      set(${header_out} "" PARENT_SCOPE)
      return()
    endif()
    vantra_add_windows_program(vantra_compileshaders
      SOURCES "${VANTRA_SHADER_DIR}/compileshaders.cpp" LIBRARIES d3dcompiler_47)
    set(program "${CMAKE_CURRENT_BINARY_DIR}/vantra_compileshaders.exe")
    set(compile "${VANTRA_SHADER_DIR}/compile-or-copy" "${VANTRA_WITH_WINE}" --make "${VANTRA_WINE_PREFIX}" "${program}")
  endif()
  add_custom_command(OUTPUT "${header}"
    COMMAND ${compile} "${VANTRA_SHADER_DIR}" "${header}"
    DEPENDS ${program} ${VANTRA_SHADER_SOURCES}
    COMMENT "Compiling shaders" VERBATIM)
  add_custom_target(vantra_shaders DEPENDS "${header}")
  set(${folder_out} "${folder}" PARENT_SCOPE)
  set(${header_out} "${header}" PARENT_SCOPE)
endfunction()
