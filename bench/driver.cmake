# Telegram round trips through the driver library against the simulated camera, next to a bare
# register read on the producer.
tq4_add_bench(driver_roundtrip_bench DRIVER SOURCES ${CMAKE_CURRENT_LIST_DIR}/driver_roundtrip.cpp
  LIBS tq4_tools tq4_gentl)
