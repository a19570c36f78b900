# The Debian packages: `scripts/package` makes them of a release build.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME em-shutdown)
set(CPACK_PACKAGE_CONTACT "The em_shutdown developers <developers@em-shutdown.invalid>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL module tool development)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

# em_package(COMPONENT package "synopsis" "description")
macro(em_package component package synopsis description)
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${package})
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${synopsis}\n${description}")
  em_package_papers(${component} ${package})
endmacro()

# What each package of Debian has: its copyright and its changelog.
function(em_package_papers component package)
  set(directory ${CMAKE_INSTALL_DATADIR}/doc/${package})
  set(changelog ${CMAKE_BINARY_DIR}/packaging/${package}/changelog)
  configure_file(cmake/debian/changelog.in ${changelog} @ONLY)
  # The time stays out of the file: the same source makes the same package.
  execute_process(COMMAND ${EM_GZIP} -9nkf ${changelog} COMMAND_ERROR_IS_FATAL ANY)
  install(FILES ${changelog}.gz DESTINATION ${directory} COMPONENT ${component})
  install(FILES cmake/debian/copyright DESTINATION ${directory} COMPONENT ${component})
endfunction()

em_package(module em-shutdown "orderly shutdown of a server, as a module of volad"
"The management host daemon loads this module to power off, restart or halt
the machine: on request, on a schedule or on a notification of the host,
behind the maintenance gate, after a delay that can be cancelled and a
cleanup job.")
em_package(tool volad-dev "rehearse, explain and check a shutdown of the em-shutdown module"
"A development host for the module em_shutdown.so: it rehearses a whole
shutdown of this machine in a sandbox that writes the last command down
instead of carrying it out, reads traces, and checks an installation.")
em_package(development em-shutdown-dev "headers and example for hosts of the em-shutdown module"
"What a host daemon shares with the module em_shutdown.so: slots, envelope,
codes, settings and places as C++ headers, a CMake package, and an example
host.")

set(CPACK_DEBIAN_MODULE_PACKAGE_SUGGESTS volad-dev)
set(CPACK_DEBIAN_MODULE_DEBUGINFO_PACKAGE ON)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS bubblewrap)
set(CPACK_DEBIAN_TOOL_PACKAGE_RECOMMENDS em-shutdown)
set(CPACK_DEBIAN_TOOL_DEBUGINFO_PACKAGE ON)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS rapidjson-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "em-shutdown, volad-dev, cmake")
include(CPack)
