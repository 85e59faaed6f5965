# SPDX-FileCopyrightText: 2026 The Vantra authors
# SPDX-License-Identifier: MIT
#
# FAAC brings no pkg-config file. Defines Faac::Faac.
find_path(Faac_INCLUDE_DIR faac.h)
find_library(Faac_LIBRARY faac)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Faac REQUIRED_VARS Faac_LIBRARY Faac_INCLUDE_DIR)
if(Faac_FOUND AND NOT TARGET Faac::Faac)
  add_library(Faac::Faac UNKNOWN IMPORTED)
  set_target_properties(Faac::Faac PROPERTIES
    IMPORTED_LOCATION "${Faac_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${Faac_INCLUDE_DIR}")
endif()
mark_as_advanced(Faac_INCLUDE_DIR Faac_LIBRARY)
