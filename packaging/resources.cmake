# Version, icon and manifest for the programs of the package, and their symbols.

set(packaging_folder ${CMAKE_CURRENT_LIST_DIR})

# add_program_resources(TARGET DESCRIPTION): compiles them into a program.
function(add_program_resources program program_description)
  set(resource_file ${PROJECT_BINARY_DIR}/packaging/${program}.rc)
  configure_file(${packaging_folder}/mpirun.rc.in ${resource_file} @ONLY)
  target_sources(${program} PRIVATE ${resource_file})
  set_source_files_properties(${resource_file} TARGET_DIRECTORY ${program} PROPERTIES
    OBJECT_DEPENDS "${packaging_folder}/mpirun.manifest;${packaging_folder}/zephon.ico")
  if(MSVC)
    target_link_options(${program} PRIVATE /MANIFEST:NO)  # ours is a resource already
  endif()
endfunction()

# keep_symbols_apart(TARGET): leaves a program without symbols, and what reads its
# addresses beside it: PROGRAM.exe.debug for gdb and addr2line, with Microsoft's
# compiler PROGRAM.pdb.
function(keep_symbols_apart program)
  if(MSVC)
    target_link_options(${program} PRIVATE
      /DEBUG /OPT:REF /OPT:ICF /INCREMENTAL:NO /PDBALTPATH:%_PDB%)
    return()
  endif()
  set(without_time ${CMAKE_COMMAND} -E env SOURCE_DATE_EPOCH=0)  # or objcopy puts the time in
  add_custom_command(TARGET ${program} POST_BUILD
    COMMAND ${without_time} ${CMAKE_OBJCOPY} --only-keep-debug ${program}.exe ${program}.exe.debug
    COMMAND ${without_time} ${CMAKE_OBJCOPY} --strip-all --add-gnu-debuglink=${program}.exe.debug ${program}.exe
    WORKING_DIRECTORY ${PROJECT_BINARY_DIR} VERBATIM)
endfunction()
