# Version, icon and manifest for the programs of the package.

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
