# Where everything goes. Three components, which are the three packages: the module, the tool, and what a host is
# written with.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(EM_MODULES_DIR ${CMAKE_INSTALL_LIBDIR}/volad/modules)
set(EM_HELPERS_DIR ${CMAKE_INSTALL_LIBEXECDIR}/volad-dev)
set(EM_HEADERS_DIR ${CMAKE_INSTALL_INCLUDEDIR}/em-shutdown)
set(EM_CMAKE_DIR ${CMAKE_INSTALL_DATADIR}/cmake/EmShutdown)

# The tool finds both from its own place, so that an installation may be moved as a whole.
file(RELATIVE_PATH EM_HELPERS_FROM_TOOL /${CMAKE_INSTALL_BINDIR} /${EM_HELPERS_DIR})
file(RELATIVE_PATH EM_MODULES_FROM_TOOL /${CMAKE_INSTALL_BINDIR} /${EM_MODULES_DIR})

function(em_install_papers component package)
  set(directory ${CMAKE_INSTALL_DATADIR}/doc/${package})
  install(DIRECTORY docs DESTINATION ${directory} COMPONENT ${component} PATTERN man EXCLUDE)
  install(FILES README.md CHANGELOG.md CONTRIBUTING.md DESTINATION ${directory} COMPONENT ${component})
endfunction()

function(em_install_all)
  install(TARGETS em_shutdown LIBRARY DESTINATION ${EM_MODULES_DIR} COMPONENT module)

  install(TARGETS volad-dev RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
  install(TARGETS volad-dev-gate volad-dev-recorder RUNTIME DESTINATION ${EM_HELPERS_DIR} COMPONENT tool)

  install(DIRECTORY src/contract DESTINATION ${EM_HEADERS_DIR} COMPONENT development)

  # With the places that they have to one another in the source: the pages link to each other.
  em_install_papers(tool volad-dev)
  em_install_papers(development em-shutdown-dev)
  install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/volad-dev COMPONENT tool USE_SOURCE_PERMISSIONS
    PATTERN host EXCLUDE)
  install(DIRECTORY examples/host DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/em-shutdown-dev/examples
    COMPONENT development)

  add_library(em_contract INTERFACE)
  set_target_properties(em_contract PROPERTIES EXPORT_NAME contract)
  target_compile_features(em_contract INTERFACE cxx_std_20)
  target_include_directories(em_contract INTERFACE $<INSTALL_INTERFACE:${EM_HEADERS_DIR}>)
  install(TARGETS em_contract EXPORT EmShutdownTargets)
  install(EXPORT EmShutdownTargets NAMESPACE EmShutdown:: DESTINATION ${EM_CMAKE_DIR} COMPONENT development)
  configure_package_config_file(cmake/EmShutdownConfig.cmake.in ${CMAKE_BINARY_DIR}/EmShutdownConfig.cmake
    INSTALL_DESTINATION ${EM_CMAKE_DIR})
  write_basic_package_version_file(${CMAKE_BINARY_DIR}/EmShutdownConfigVersion.cmake
    COMPATIBILITY SameMinorVersion ARCH_INDEPENDENT)
  install(FILES ${CMAKE_BINARY_DIR}/EmShutdownConfig.cmake ${CMAKE_BINARY_DIR}/EmShutdownConfigVersion.cmake
    DESTINATION ${EM_CMAKE_DIR} COMPONENT development)
endfunction()
