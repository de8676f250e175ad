# Every camera description the project ships checked by xmllint against the GenApi 1.1 schema:
# the description files given in DESCRIPTIONS and the bytes ZEVO.cti serves, as the driver dumps
# them when tq4cam opens the simulated camera (unpacked when zipped). The schema comes from the
# Aravis source tarball.
# Usage: cmake -DTARBALL=<aravis .tar.xz> -DXMLLINT=<xmllint> -DTQ4CAM=<tq4cam> -DSIM_DIR=<folder
#        of ZEVO.cti> -DWORK=<scratch folder> "-DDESCRIPTIONS=<file;file>" -P DescriptionSchema.cmake
file(REMOVE_RECURSE "${WORK}")
file(ARCHIVE_EXTRACT INPUT "${TARBALL}" DESTINATION "${WORK}/schema" PATTERNS "*/src/GenApiSchema_Version_1_1.xsd")
file(GLOB_RECURSE schema "${WORK}/schema/*.xsd")
if(NOT schema)
  message(FATAL_ERROR "no GenApi 1.1 schema in ${TARBALL}")
endif()

set(appdata "${WORK}/appdata")
execute_process(
  COMMAND ${CMAKE_COMMAND} -E env "GENICAM_GENTL64_PATH=${SIM_DIR}" "TQ4_COMMON_APPDATA=${appdata}"
          "${TQ4CAM}" get DeviceModelName
  RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "tq4cam could not open the simulated camera: ${output}")
endif()
file(GLOB served "${appdata}/zevo/genicam/*")
foreach(file IN LISTS served)
  if(file MATCHES "\\.zip$")
    file(ARCHIVE_EXTRACT INPUT "${file}" DESTINATION "${WORK}/served")
  else()
    file(COPY "${file}" DESTINATION "${WORK}/served")
  endif()
endforeach()
file(GLOB served "${WORK}/served/*")
if(NOT served)
  message(FATAL_ERROR "the driver dumped no description into ${appdata}")
endif()

foreach(description IN LISTS DESCRIPTIONS served)
  execute_process(COMMAND "${XMLLINT}" --noout --schema "${schema}" "${description}"
                  RESULT_VARIABLE result ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(SEND_ERROR "${output}")
  else()
    message(STATUS "${output}")
  endif()
endforeach()
