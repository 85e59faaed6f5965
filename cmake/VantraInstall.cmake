# SPDX-FileCopyrightText: 2026 The Vantra authors
# SPDX-License-Identifier: MIT
#
# Libraries, public headers (all but *_p.h, in the folders of the tree), the CMake package and the
# pkg-config file.
include(CMakePackageConfigHelpers)

get_property(install_targets GLOBAL PROPERTY VANTRA_INSTALL_TARGETS)
install(TARGETS ${install_targets} EXPORT VantraTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
set_target_properties(${install_targets} PROPERTIES INSTALL_RPATH "\$ORIGIN")

get_property(header_dirs GLOBAL PROPERTY VANTRA_INSTALL_HEADER_DIRS)
foreach(dir IN LISTS header_dirs)
  get_filename_component(name "${dir}" NAME)
  set(destination "${CMAKE_INSTALL_INCLUDEDIR}/vantra/${name}")
  if(name STREQUAL "src")
    set(destination "${CMAKE_INSTALL_INCLUDEDIR}/vantra")
  endif()
  install(DIRECTORY "${dir}/" DESTINATION "${destination}"
    FILES_MATCHING PATTERN "*.h" PATTERN "*_p.h" EXCLUDE)
endforeach()

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/Vantra")
install(EXPORT VantraTargets NAMESPACE Vantra:: DESTINATION "${package_dir}")
configure_package_config_file(cmake/VantraConfig.cmake.in VantraConfig.cmake
  INSTALL_DESTINATION "${package_dir}")
write_basic_package_version_file(VantraConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/VantraConfig.cmake"
              "${CMAKE_CURRENT_BINARY_DIR}/VantraConfigVersion.cmake"
        DESTINATION "${package_dir}")

# Found from where the file lies, so that an installed tree can be put anywhere.
file(RELATIVE_PATH up "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" up "${up}")
set(VANTRA_PC_PREFIX "\${pcfiledir}/${up}")
configure_file(cmake/vantra.pc.in vantra.pc @ONLY)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/vantra.pc"
        DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
install(FILES LICENSE THIRD-PARTY-NOTICES.md DESTINATION "${CMAKE_INSTALL_DOCDIR}")
