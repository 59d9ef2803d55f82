# Resources of Windows programs; elsewhere these functions do nothing.
if(NOT WIN32)
  function(zendro_add_manifest target)
  endfunction()
  function(zendro_add_program_resources target)
  endfunction()
  return()
endif()

enable_language(RC)
set(ZENDRO_RESOURCES "${CMAKE_BINARY_DIR}/resources")
find_program(RSVG_CONVERT rsvg-convert REQUIRED)
find_program(ICOTOOL icotool REQUIRED)

# How Windows is to treat a program: tests get what the program gets.
function(zendro_add_manifest target)
  target_sources(${target} PRIVATE "${CMAKE_SOURCE_DIR}/windows/manifest.rc")
  set_property(SOURCE "${CMAKE_SOURCE_DIR}/windows/manifest.rc" TARGET_DIRECTORY ${target}
               PROPERTY OBJECT_DEPENDS "${CMAKE_SOURCE_DIR}/windows/manifest.xml")
endfunction()

# The manifest, the icon drawn in every size that Windows asks for, and the version.
function(zendro_add_program_resources target)
  zendro_add_manifest(${target})

  set(folder "${ZENDRO_RESOURCES}")
  set(drawing "${CMAKE_SOURCE_DIR}/packages_ui/images/PackageManager_cmd.svg")
  set(pictures "")
  foreach(size 16 20 24 32 40 48 64 96 128 256)
    add_custom_command(
      OUTPUT "${folder}/icon-${size}.png"
      COMMAND ${RSVG_CONVERT} -w ${size} -h ${size} -o "${folder}/icon-${size}.png" "${drawing}"
      DEPENDS "${drawing}"
      VERBATIM)
    list(APPEND pictures "${folder}/icon-${size}.png")
  endforeach()
  set(small_pictures ${pictures})
  list(POP_BACK small_pictures largest)
  add_custom_command(
    OUTPUT "${folder}/korvane.ico"
    COMMAND ${ICOTOOL} --create "--output=${folder}/korvane.ico" ${small_pictures} "--raw=${largest}"
    DEPENDS ${pictures}
    VERBATIM)

  configure_file("${CMAKE_SOURCE_DIR}/windows/program.rc.in" "${folder}/program.rc" @ONLY)
  set_source_files_properties("${folder}/program.rc" PROPERTIES
    OBJECT_DEPENDS "${folder}/korvane.ico")
  target_sources(${target} PRIVATE "${folder}/program.rc" "${folder}/korvane.ico")
  target_include_directories(${target} PRIVATE "${folder}")
endfunction()
