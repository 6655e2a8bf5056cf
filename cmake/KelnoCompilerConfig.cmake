# One place for the compile settings of every project target.
#
# kelno_configure_target(<target> [PLUGIN_ABI])
#   - C++14, no extensions, for code that goes into the core library or the plug-in;
#     kelno_configure_tool(<target>) gives C++17 to tests, benchmarks and the command-line tool;
#   - -Wall -Wextra (and -Werror with KELNO_WARNINGS_AS_ERRORS);
#   - position-independent code (everything ends up in shared objects);
#   - PLUGIN_ABI: the settings Maya 2018 plug-ins need when built against the real devkit
#     (the pre-C++11 libstdc++ string ABI on Linux). Against the host stand-in they are left
#     off so the tests can share std::string with the system's GoogleTest.

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
