# FindMaya: the Maya 2018 devkit.
#
# Looks in MAYA_LOCATION (cache variable first, then the environment variable), e.g.
#   Linux:   /usr/autodesk/maya2018
#   Windows: C:/Program Files/Autodesk/Maya2018
# for include/maya/MFnPlugin.h and the API libraries. When nothing is given or found the
# configure carries on with MAYA_FOUND false, and the plug-in builds against the host stand-in.
#
# Results:
#   MAYA_FOUND, MAYA_INCLUDE_DIR, MAYA_LIBRARY_DIR, MAYA_API_VERSION (from maya/MTypes.h)
#   MAYA_COMPILE_DEFINITIONS, MAYA_COMPILE_OPTIONS   what code built into a Maya 2018 plug-in
#                                                     needs on this platform
#   Imported targets Maya::OpenMaya, Maya::OpenMayaUI, Maya::OpenMayaAnim, Maya::OpenMayaFX,
#   Maya::OpenMayaRender, Maya::Foundation, and Maya::Maya (all of them plus the settings).
#   maya_plugin_properties(<target>)   plug-in file naming: "name.so" on Linux (no "lib"
#                                      prefix), "name.mll" on Windows, with the two entry points
#                                      exported.

set(MAYA_LOCATION "$ENV{MAYA_LOCATION}" CACHE PATH "Root of the Maya 2018 installation (devkit)")

set(MAYA_FOUND FALSE)
if(NOT MAYA_LOCATION)
  if(NOT Maya_FIND_QUIETLY)
    message(STATUS "Maya devkit: not given (MAYA_LOCATION); building against the host stand-in")
  endif()
  return()
endif()

find_path(MAYA_INCLUDE_DIR maya/MFnPlugin.h
  PATHS "${MAYA_LOCATION}" PATH_SUFFIXES include devkit/include
  NO_DEFAULT_PATH)
find_path(MAYA_LIBRARY_DIR NAMES libOpenMaya.so OpenMaya.lib libOpenMaya.dylib
  PATHS "${MAYA_LOCATION}" PATH_SUFFIXES lib MacOS
  NO_DEFAULT_PATH)

if(MAYA_INCLUDE_DIR AND EXISTS "${MAYA_INCLUDE_DIR}/maya/MTypes.h")
  file(STRINGS "${MAYA_INCLUDE_DIR}/maya/MTypes.h" _maya_version_line
    REGEX "#define[ \t]+MAYA_API_VERSION[ \t]+[0-9]+")
  string(REGEX MATCH "[0-9]+" MAYA_API_VERSION "${_maya_version_line}")
endif()

set(_maya_components OpenMaya OpenMayaUI OpenMayaAnim OpenMayaFX OpenMayaRender Foundation)
set(_maya_libraries)
foreach(_lib IN LISTS _maya_components)
  find_library(MAYA_${_lib}_LIBRARY ${_lib} PATHS "${MAYA_LIBRARY_DIR}" NO_DEFAULT_PATH)
  list(APPEND _maya_libraries MAYA_${_lib}_LIBRARY)
endforeach()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Maya
  REQUIRED_VARS MAYA_INCLUDE_DIR MAYA_LIBRARY_DIR ${_maya_libraries}
  VERSION_VAR MAYA_API_VERSION)

if(NOT MAYA_FOUND)
  return()
endif()
if(MAYA_API_VERSION AND NOT MAYA_API_VERSION MATCHES "^2018")
  message(WARNING "Maya devkit at ${MAYA_LOCATION} is API ${MAYA_API_VERSION}; this plug-in targets 2018")
endif()

# Settings from the devkit's build requirements for 2018 plug-ins.
if(WIN32)
  set(MAYA_COMPILE_DEFINITIONS NT_PLUGIN REQUIRE_IOSTREAM _BOOL _USE_MATH_DEFINES NOMINMAX)
  set(MAYA_COMPILE_OPTIONS)
elseif(APPLE)
  set(MAYA_COMPILE_DEFINITIONS OSMac_ MAC_PLUGIN REQUIRE_IOSTREAM _BOOL)
  set(MAYA_COMPILE_OPTIONS)
else()
  # Maya 2018 on Linux is built with gcc 4.8 and the old std::string/std::list ABI; any
  # std:: type that crosses into Maya must use the same.
  set(MAYA_COMPILE_DEFINITIONS LINUX LINUX_64 Bits64_ _BOOL REQUIRE_IOSTREAM _GLIBCXX_USE_CXX11_ABI=0)
  set(MAYA_COMPILE_OPTIONS -fPIC -pthread -fno-strict-aliasing)
endif()

foreach(_lib IN LISTS _maya_components)
  if(NOT TARGET Maya::${_lib})
    add_library(Maya::${_lib} UNKNOWN IMPORTED)
    set_target_properties(Maya::${_lib} PROPERTIES
      IMPORTED_LOCATION "${MAYA_${_lib}_LIBRARY}"
      INTERFACE_INCLUDE_DIRECTORIES "${MAYA_INCLUDE_DIR}")
  endif()
endforeach()
if(NOT TARGET Maya::Maya)
  add_library(Maya::Maya INTERFACE IMPORTED)
  set_target_properties(Maya::Maya PROPERTIES
    INTERFACE_LINK_LIBRARIES "Maya::OpenMaya;Maya::OpenMayaUI;Maya::OpenMayaAnim;Maya::OpenMayaFX;Maya::OpenMayaRender;Maya::Foundation"
    INTERFACE_COMPILE_DEFINITIONS "${MAYA_COMPILE_DEFINITIONS}"
    INTERFACE_COMPILE_OPTIONS "${MAYA_COMPILE_OPTIONS}")
endif()

function(maya_plugin_properties target)
  if(WIN32)
    set_target_properties(${target} PROPERTIES PREFIX "" SUFFIX ".mll")
    target_link_options(${target} PRIVATE "/export:initializePlugin" "/export:uninitializePlugin")
  elseif(APPLE)
    set_target_properties(${target} PROPERTIES PREFIX "" SUFFIX ".bundle")
  else()
    set_target_properties(${target} PROPERTIES PREFIX "" SUFFIX ".so")
  endif()
endfunction()

mark_as_advanced(MAYA_INCLUDE_DIR MAYA_LIBRARY_DIR)
