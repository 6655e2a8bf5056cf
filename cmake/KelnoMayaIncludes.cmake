# Include what you use, for Maya API types: every Maya class a plug-in file names must have its
# header included (or the class forward-declared) in that file, or in the header of the same
# name beside a .cpp. Relying on what another Maya header happens to include breaks against a
# devkit whose headers include less. MStatus.h and MTypes.h count as included everywhere (every
# devkit header includes them).
#
#   cmake -DAPI_DIR=<dir holding maya/*.h> -DFILES=<file;file...> -P KelnoMayaIncludes.cmake
#
# Fails listing every file and the headers it is missing.
cmake_minimum_required(VERSION 3.16)
get_filename_component(API_DIR "${API_DIR}" ABSOLUTE)
file(GLOB _api_headers RELATIVE "${API_DIR}/maya" "${API_DIR}/maya/*.h")
set(_api)
foreach(_h IN LISTS _api_headers)
  string(REGEX REPLACE "\\.h$" "" _name "${_h}")
  list(APPEND _api "${_name}")
endforeach()

# The Maya headers a file includes and the Maya classes it forward-declares.
function(_declared file out)
  set(_names MStatus MTypes)
  if(EXISTS "${file}")
    file(READ "${file}" _text)
    string(REGEX MATCHALL "#include <maya/[A-Za-z0-9_]+\\.h>" _includes "${_text}")
    foreach(_inc IN LISTS _includes)
      string(REGEX REPLACE "#include <maya/([A-Za-z0-9_]+)\\.h>" "\\1" _n "${_inc}")
      list(APPEND _names "${_n}")
    endforeach()
    # (Marked first: a ";" would split the CMake list.)
    string(REGEX REPLACE "class (M[A-Za-z0-9_]+)[ \t]*;" "FORWARD_\\1 " _marked "${_text}")
    string(REGEX MATCHALL "FORWARD_M[A-Za-z0-9_]+" _forwards "${_marked}")
    foreach(_fwd IN LISTS _forwards)
      string(REGEX REPLACE "^FORWARD_" "" _n "${_fwd}")
      list(APPEND _names "${_n}")
    endforeach()
  endif()
  set(${out} "${_names}" PARENT_SCOPE)
endfunction()

set(_failures)
foreach(_file IN LISTS FILES)
  file(READ "${_file}" _text)
  # Comments, string literals and include lines do not use anything.
  string(REGEX REPLACE "//[^\n]*" "" _code "${_text}")
  string(REGEX REPLACE "\"([^\"\\\\\n]|\\\\.)*\"" "\"\"" _code "${_code}")
  string(REGEX REPLACE "#include[^\n]*" "" _code "${_code}")
  string(REGEX MATCHALL "M[A-Z0-9][A-Za-z0-9_]*" _used "${_code}")
  list(REMOVE_DUPLICATES _used)

  _declared("${_file}" _have)
  if(_file MATCHES "\\.cpp$")
    string(REGEX REPLACE "\\.cpp$" ".h" _own_header "${_file}")
    _declared("${_own_header}" _have_too)
    list(APPEND _have ${_have_too})
  endif()

  set(_missing)
  foreach(_name IN LISTS _used)
    list(FIND _api "${_name}" _is_api)
    list(FIND _have "${_name}" _is_had)
    if(_is_api GREATER -1 AND _is_had EQUAL -1)
      list(APPEND _missing "<maya/${_name}.h>")
    endif()
  endforeach()
  if(_missing)
    string(REPLACE ";" " " _missing "${_missing}")
    list(APPEND _failures "${_file}: include ${_missing}")
  endif()
endforeach()

if(_failures)
  string(REPLACE ";" "\n  " _failures "${_failures}")
  message(FATAL_ERROR "Maya classes used without their header:\n  ${_failures}")
endif()
