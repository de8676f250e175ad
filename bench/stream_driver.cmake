# Streaming through the driver library against the simulated camera: end-to-end frame rate of
# full frames next to memcpy, and the driver's time per frame from the producer's hand-over to
# the caller's status word.
tq4_add_bench(stream_throughput_bench DRIVER SOURCES ${CMAKE_CURRENT_LIST_DIR}/stream_throughput.cpp
  LIBS tq4_pixels tq4_platform)
if(TARGET stream_throughput_bench)
  # It loads the library at run time and calls it through the public header's types.
  target_include_directories(stream_throughput_bench PRIVATE ${PROJECT_SOURCE_DIR}/include)
endif()
