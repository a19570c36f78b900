# What every object of the product is built with, and how the module is linked.
add_library(em_build_options INTERFACE)
target_compile_features(em_build_options INTERFACE cxx_std_20)
target_compile_options(em_build_options INTERFACE
  -fstack-protector-strong -fstack-clash-protection -ffile-prefix-map=${CMAKE_SOURCE_DIR}/=
  $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)
if(EM_SANITIZE)
  string(REPLACE ";" "," EM_SANITIZE_LIST "${EM_SANITIZE}")
  target_compile_options(em_build_options INTERFACE
    -fsanitize=${EM_SANITIZE_LIST} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(em_build_options INTERFACE -fsanitize=${EM_SANITIZE_LIST})
  target_compile_definitions(em_build_options INTERFACE EM_SANITIZED=1)
else()
  target_compile_options(em_build_options INTERFACE
    $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=3>)
endif()
if(EM_COVERAGE)
  target_compile_options(em_build_options INTERFACE --coverage -fprofile-update=atomic)
  target_link_options(em_build_options INTERFACE --coverage)
endif()

function(em_harden_module target)
  set(map ${CMAKE_SOURCE_DIR}/src/exports/em_shutdown.map)
  set_target_properties(${target} PROPERTIES PREFIX "" NO_SONAME ON SKIP_BUILD_RPATH ON LINK_DEPENDS ${map})
  target_link_options(${target} PRIVATE
    -Wl,--version-script=${map} -Wl,--exclude-libs,ALL
    -Wl,-z,relro,-z,now,-z,noexecstack $<$<CONFIG:Release>:-Wl,--gc-sections>)
  # The sanitizers' own symbols are found in the executable at run time only.
  if(NOT EM_SANITIZE)
    target_link_options(${target} PRIVATE -Wl,-z,defs)
  endif()
endfunction()
