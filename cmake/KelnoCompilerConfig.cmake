# One place for the compile settings of every project target.
#
# kelno_configure_target(<target> [PLUGIN_ABI])
#   - C++14, no extensions, for code that goes into the core library or the plug-in;
#     kelno_configure_tool(<target>) gives C++17 to tests, benchmarks and the command-line tool;
#   - -Wall -Wextra (and -Werror with KELNO_WARNINGS_AS_ERRORS);
#   - position-independent code (everything ends up in shared objects);
#   - PLUGIN_ABI: the devkit's platform defines and options for code that includes Maya headers,
#     when built against the real devkit (nothing against the host stand-in). The libstdc++ ABI
#     Maya needs is set for the whole build at the top level, since std::string crosses from
#     the plug-in into the Kelno libraries.

function(_kelno_warnings target)
  if(MSVC)
    target_compile_options(${target} PRIVATE /W4)
    if(KELNO_WARNINGS_AS_ERRORS)
      target_compile_options(${target} PRIVATE /WX)
    endif()
  else()
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic)
    if(KELNO_WARNINGS_AS_ERRORS)
      target_compile_options(${target} PRIVATE -Werror)
    endif()
  endif()
endfunction()

function(kelno_configure_target target)
  cmake_parse_arguments(ARG "PLUGIN_ABI" "" "" ${ARGN})
  set_target_properties(${target} PROPERTIES
    CXX_STANDARD 14
    CXX_STANDARD_REQUIRED ON
    CXX_EXTENSIONS OFF
    POSITION_INDEPENDENT_CODE ON)
  _kelno_warnings(${target})
  if(ARG_PLUGIN_ABI AND MAYA_FOUND)
    target_compile_definitions(${target} PRIVATE ${MAYA_COMPILE_DEFINITIONS})
    target_compile_options(${target} PRIVATE ${MAYA_COMPILE_OPTIONS})
  endif()
endfunction()

function(kelno_configure_tool target)
  set_target_properties(${target} PROPERTIES
    CXX_STANDARD 17
    CXX_STANDARD_REQUIRED ON
    CXX_EXTENSIONS OFF)
  _kelno_warnings(${target})
endfunction()

# kelno_add_maya_include_check(<target> FILES <files...>)
# Checks at build time that each plug-in file includes the header of every Maya class it
# names (cmake/KelnoMayaIncludes.cmake has the rule), against the Maya headers in
# KELNO_MAYA_INCLUDE_DIR: a file that compiles only through another header's includes fails.
function(kelno_add_maya_include_check target)
  cmake_parse_arguments(ARG "" "" "FILES" ${ARGN})
  set(_stamp "${CMAKE_CURRENT_BINARY_DIR}/${target}.stamp")
  add_custom_command(OUTPUT "${_stamp}"
    COMMAND ${CMAKE_COMMAND} "-DAPI_DIR=${KELNO_MAYA_INCLUDE_DIR}" "-DFILES=${ARG_FILES}"
            -P "${PROJECT_SOURCE_DIR}/cmake/KelnoMayaIncludes.cmake"
    COMMAND ${CMAKE_COMMAND} -E touch "${_stamp}"
    DEPENDS ${ARG_FILES} "${PROJECT_SOURCE_DIR}/cmake/KelnoMayaIncludes.cmake"
    COMMENT "Checking the Maya includes of ${target}"
    VERBATIM)
  add_custom_target(${target} ALL DEPENDS "${_stamp}")
endfunction()

# kelno_add_header_check(<target> INCLUDE_ROOT <dir> HEADERS <files...> [LIBS <targets...>]
#                        [PLUGIN_ABI])
# Compiles every header on its own as C++14 (one generated translation unit each, including
# the header by its path below INCLUDE_ROOT), so each is self-contained and uses nothing newer
# than the plug-in toolchain builds. LIBS supply include paths and definitions.
function(kelno_add_header_check target)
  cmake_parse_arguments(ARG "PLUGIN_ABI" "INCLUDE_ROOT" "HEADERS;LIBS" ${ARGN})
  set(_tus)
  foreach(_header IN LISTS ARG_HEADERS)
    file(RELATIVE_PATH _rel "${ARG_INCLUDE_ROOT}" "${_header}")
    string(REPLACE "/" "_" _name "${_rel}")
    set(_tu "${CMAKE_CURRENT_BINARY_DIR}/header_check/${_name}.cpp")
    file(CONFIGURE OUTPUT "${_tu}" CONTENT "#include <${_rel}>\n")
    list(APPEND _tus "${_tu}")
  endforeach()
  add_library(${target} OBJECT ${_tus})
  target_include_directories(${target} PRIVATE "${ARG_INCLUDE_ROOT}")
  target_link_libraries(${target} PRIVATE ${ARG_LIBS})
  if(ARG_PLUGIN_ABI)
    kelno_configure_target(${target} PLUGIN_ABI)
  else()
    kelno_configure_target(${target})
  endif()
endfunction()

# KELNO_X86_ISA: the x86-64 instruction set every target is compiled for (GCC and Clang). Maya
# 2018 itself runs only on 64-bit processors with SSE4.2, so the plug-in and its libraries may
# use it: the closest-point and collision walks blend their four lanes with one instruction
# where SSE2 needs three. Empty builds for the x86-64 baseline (SSE2); the results are the same
# bits either way (no fused multiply-add is enabled by it).
set(KELNO_X86_ISA "sse4.2" CACHE STRING "x86-64 instruction set (-m<value>) for every target; empty: SSE2 baseline")
if(KELNO_X86_ISA AND NOT MSVC AND CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64)$")
  add_compile_options(-m${KELNO_X86_ISA})
endif()

# KELNO_SANITIZE: sanitizers for every target of the build, as -fsanitize takes them
# ("address,undefined" or "thread"); empty for none. Any report aborts the program, so a test
# that provokes one fails. Used by the sanitizer lanes of .ci/run (.ci/sanitize).
set(KELNO_SANITIZE "" CACHE STRING "Sanitizers for every target (address,undefined or thread; empty: none)")
if(KELNO_SANITIZE)
  add_compile_options(-fsanitize=${KELNO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g)
  add_link_options(-fsanitize=${KELNO_SANITIZE})
endif()
