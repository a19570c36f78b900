# The manual pages, and the completion of bash: made of frames in docs/man, of what stands in docs, and of what the tool
# tells of its own verbs and options.
find_program(EM_SCDOC scdoc REQUIRED)
find_program(EM_GZIP gzip REQUIRED)
# The system's own interpreter: the modules that scripts need are packages of the system.
find_program(EM_PYTHON python3 PATHS /usr/bin NO_DEFAULT_PATH REQUIRED)

set(EM_MANUAL ${CMAKE_BINARY_DIR}/manual)
set(EM_MANUAL_SCRIPTS ${CMAKE_SOURCE_DIR}/scripts/manual)

# em_manual_page(COMPONENT NAME SECTION): of docs/man/NAME.SECTION.scd.in, whose @NAMES@ are those of the build.
function(em_manual_page component name section)
  set(page ${EM_MANUAL}/${name}.${section})
  configure_file(docs/man/${name}.${section}.scd.in ${page}.frame @ONLY)
  file(GLOB sources CONFIGURE_DEPENDS docs/*.md scripts/manual/*.py)
  add_custom_command(OUTPUT ${page}.gz
    COMMAND ${EM_PYTHON} -B ${EM_MANUAL_SCRIPTS}/page.py ${page}.frame ${CMAKE_SOURCE_DIR}/docs ${EM_MANUAL}/tree.json
      ${page}.scd
    # The pages' date is that of the packages' changelog: the same source makes the same page.
    COMMAND ${CMAKE_COMMAND} -E env SOURCE_DATE_EPOCH=1767225600 ${EM_SCDOC} < ${page}.scd > ${page}
    COMMAND ${EM_GZIP} -9nkf ${page}
    DEPENDS ${page}.frame ${EM_MANUAL}/tree.json ${sources}
    COMMENT "Write the manual page ${name}(${section})" VERBATIM)
  target_sources(manual PRIVATE ${page}.gz)
  install(FILES ${page}.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT ${component})
endfunction()

function(em_manual)
  add_custom_target(manual ALL)
  add_custom_command(OUTPUT ${EM_MANUAL}/tree.json
    COMMAND volad-dev command-tree > ${EM_MANUAL}/tree.json
    DEPENDS volad-dev VERBATIM)
  add_custom_command(OUTPUT ${EM_MANUAL}/volad-dev
    COMMAND ${EM_PYTHON} -B ${EM_MANUAL_SCRIPTS}/completion.py ${EM_MANUAL}/tree.json
      ${EM_MANUAL_SCRIPTS}/completion.bash ${EM_MANUAL}/volad-dev
    DEPENDS ${EM_MANUAL}/tree.json ${EM_MANUAL_SCRIPTS}/completion.py ${EM_MANUAL_SCRIPTS}/completion.bash
    COMMENT "Write the completion of bash" VERBATIM)
  target_sources(manual PRIVATE ${EM_MANUAL}/volad-dev)
  install(FILES ${EM_MANUAL}/volad-dev DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tool)

  em_manual_page(tool volad-dev 1)
  em_manual_page(tool volad-dev-settings 5)
  em_manual_page(module em-shutdown 7)
  em_manual_page(module em-shutdown-registry 5)
  em_manual_page(module em-shutdown-trace.ini 5)
endfunction()
