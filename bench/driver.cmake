# Telegram round trips through the driver library against the simulated camera, next to a bare
# register read on the producer.
if(TARGET ZEVO)
  tq4_add_bench(driver_roundtrip_bench SOURCES ${CMAKE_CURRENT_LIST_DIR}/driver_roundtrip.cpp
    LIBS tq4_tools tq4_gentl)
  add_dependencies(driver_roundtrip_bench ZEVO tq4_genicam)
  target_compile_definitions(driver_roundtrip_bench PRIVATE
    TQ4_SIM_DIR="$<TARGET_FILE_DIR:ZEVO>" TQ4_DRIVER_LIBRARY="$<TARGET_FILE:tq4_genicam>")
endif()
