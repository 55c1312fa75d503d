# Compiler settings that every target of the project shares, and the two helpers the rest uses.
include(GNUInstallDirs)

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/archive)

set(ZOL_SANITIZE "" CACHE STRING "Sanitizers to build with, as -fsanitize= takes them")

add_library(zol_flags INTERFACE)
target_compile_definitions(zol_flags INTERFACE _GNU_SOURCE)
target_compile_options(zol_flags INTERFACE
  -Wall -Wextra -Werror -Wformat=2 -Wundef
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual -Wextra-semi>
  $<$<CXX_COMPILER_ID:GNU>:-Wshadow=local>
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)
if(ZOL_SANITIZE)
  # GCC's format check takes the branches that the sanitizers add for real ones.
  target_compile_options(zol_flags INTERFACE
    -fsanitize=${ZOL_SANITIZE} -fno-omit-frame-pointer
    $<$<CXX_COMPILER_ID:GNU>:-Wno-format-overflow>)
  target_link_options(zol_flags INTERFACE -fsanitize=${ZOL_SANITIZE})
endif()
# Undefined behaviour ends the program, as what the other sanitizers find does.
if(ZOL_SANITIZE MATCHES undefined)
  target_compile_options(zol_flags INTERFACE -fno-sanitize-recover=undefined)
endif()

# What programs that are not built with the sanitizers have to preload before our libraries.
set(ZOL_SANITIZER_RUNTIME "")
if(ZOL_SANITIZE)
  string(REGEX REPLACE "^([a-z]).*" "lib\\1san.so" ZOL_SANITIZER_RUNTIME ${ZOL_SANITIZE})
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${ZOL_SANITIZER_RUNTIME}
    OUTPUT_VARIABLE ZOL_SANITIZER_RUNTIME OUTPUT_STRIP_TRAILING_WHITESPACE)
endif()

option(ZOL_COVERAGE "Have the tests count the lines and branches of src/ that they run" OFF)
set(ZOL_COVERAGE_LINK_OPTIONS
  --coverage -Wl,--wrap=_exit -Wl,--wrap=_Exit -Wl,--undefined=__wrap__exit)

# zol_guest_library(TARGET VERSION_SCRIPT): the link settings of a library that lives in other
# people's processes. Only the symbols of the version script are visible and, in ordinary builds,
# the C++ runtime is part of the library.
function(zol_guest_library target version_script)
  target_link_options(${target} PRIVATE
    -Wl,--version-script=${version_script} -Wl,-Bsymbolic -Wl,--no-undefined-version -Wl,-z,now)
  target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${version_script})
  if(ZOL_SANITIZE)
    # It stays loaded: the leak checker would not find what it keeps as long as the process, and the
    # thread sanitizer's atexit() calls its functions at the end of the process only.
    target_link_options(${target} PRIVATE -Wl,-z,nodelete)
  else()
    target_link_options(${target} PRIVATE
      -static-libstdc++ -static-libgcc -Wl,--exclude-libs,ALL -Wl,-z,defs)
  endif()
endfunction()
