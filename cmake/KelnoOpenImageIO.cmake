# OpenImageIO, as the stand-in's image reading and its tests use it.
#
# Debian 12's OpenImageIO package exports /usr/include/opencv4 among its include folders but does
# not depend on OpenCV's headers, and CMake refuses an imported target whose include folder is
# missing. Folders that do not exist are dropped from the target; nothing of ours includes OpenCV.
if(NOT TARGET OpenImageIO::OpenImageIO)
  find_package(OpenImageIO CONFIG REQUIRED)
  foreach(_property INTERFACE_INCLUDE_DIRECTORIES INTERFACE_SYSTEM_INCLUDE_DIRECTORIES)
    get_target_property(_dirs OpenImageIO::OpenImageIO ${_property})
    if(_dirs)
      set(_kept)
      foreach(_dir IN LISTS _dirs)
        if(EXISTS "${_dir}" OR _dir MATCHES "^\\$<")
          list(APPEND _kept "${_dir}")
        endif()
      endforeach()
      set_target_properties(OpenImageIO::OpenImageIO PROPERTIES ${_property} "${_kept}")
    endif()
  endforeach()
endif()
