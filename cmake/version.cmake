# The version header. Looked at in every build, written only when the build's name has changed: a commit makes one file
# be compiled anew, nothing else.
if(CMAKE_SCRIPT_MODE_FILE)
  execute_process(COMMAND git describe --always --dirty WORKING_DIRECTORY ${SOURCE}
    OUTPUT_VARIABLE EM_BUILD OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  if(NOT EM_BUILD)
    set(EM_BUILD "unversioned")
  endif()
  configure_file(${SOURCE}/cmake/em_version.h.in ${HEADER} @ONLY)
  return()
endif()

set(EM_VERSION_DIRECTORY ${CMAKE_BINARY_DIR}/generated)
add_custom_target(em_version_header
  COMMAND ${CMAKE_COMMAND} -D SOURCE=${CMAKE_SOURCE_DIR} -D HEADER=${EM_VERSION_DIRECTORY}/em_version.h
    -D EM_VERSION=${PROJECT_VERSION} -P ${CMAKE_CURRENT_LIST_FILE}
  BYPRODUCTS ${EM_VERSION_DIRECTORY}/em_version.h
  COMMENT "Name the build")
add_library(em_version INTERFACE)
target_include_directories(em_version INTERFACE ${EM_VERSION_DIRECTORY})
add_dependencies(em_version em_version_header)
