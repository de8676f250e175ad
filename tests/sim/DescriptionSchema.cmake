# Every camera description the project ships checked by xmllint against the GenApi 1.1 schema:
# the description files given in DESCRIPTIONS and the bytes ZEVO.cti serves for each of its
# models, as the driver dumps them when tq4cam opens the simulated camera (unpacked when zipped).
# The schema comes from the Aravis source tarball.
# Usage: cmake -DTARBALL=<aravis .tar.xz> -DXMLLINT=<xmllint> -DTQ4CAM=<tq4cam> -DSIM_DIR=<folder
#        of ZEVO.cti> -DWORK=<scratch folder> "-DDESCRIPTIONS=<file;file>" -P DescriptionSchema.cmake
file(REMOVE_RECURSE "${WORK}")
file(ARCHIVE_EXTRACT INPUT "${TARBALL}" DESTINATION "${WORK}/schema" PATTERNS "*/src/GenApiSchema_Version_1_1.xsd")
file(GLOB_RECURSE schema "${WORK}/schema/*.xsd")
if(NOT schema)
  message(FATAL_ERROR "no GenApi 1.1 schema in ${TARBALL}")
endif()

# Each model of the simulated camera (model = default | conformance in its configuration).
foreach(model default conformance)
  set(appdata "${WORK}/appdata-${model}")
  file(WRITE "${WORK}/${model}.cfg" "model = ${model}\n")
  execute_process(
    COMMAND ${CMAKE_COMMAND} -E env "GENICAM_GENTL64_PATH=${SIM_DIR}" "TQ4_COMMON_APPDATA=${appdata}"
            "ZEVO_SIM_CONFIG=${WORK}/${model}.cfg" "${TQ4CAM}" get DeviceModelName
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "tq4cam could not open the simulated camera (${model}): ${output}")
  endif()
  file(GLOB dumped "${appdata}/zevo/genicam/*")
  foreach(file IN LISTS dumped)
    if(file MATCHES "\\.zip$")
      file(ARCHIVE_EXTRACT INPUT "${file}" DESTINATION "${WORK}/served-${model}")
    else()
      file(COPY "${file}" DESTINATION "${WORK}/served-${model}")
    endif()
  endforeach()
  file(GLOB served-${model} "${WORK}/served-${model}/*")
  if(NOT served-${model})
    message(FATAL_ERROR "the driver dumped no description of the ${model} model into ${appdata}")
  endif()
  list(APPEND served ${served-${model}})
endforeach()

foreach(description IN LISTS DESCRIPTIONS served)
  execute_process(COMMAND "${XMLLINT}" --noout --schema "${schema}" "${description}"
                  RESULT_VARIABLE result ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(SEND_ERROR "${output}")
  else()
    message(STATUS "${output}")
  endif()
endforeach()
