# Feature helpers over the node map: round trips per call, register cache off (as shipped)
# against on.
tq4_add_bench(bench_features SOURCES ${CMAKE_CURRENT_LIST_DIR}/features_nodemap.cpp LIBS tq4_features)
# The same calls through the transport's port to the simulated producer.
if(TARGET ZEVO)
  tq4_add_bench(bench_features_producer SOURCES ${CMAKE_CURRENT_LIST_DIR}/features_producer.cpp LIBS tq4_gentl tq4_features)
  add_dependencies(bench_features_producer ZEVO)
  target_compile_definitions(bench_features_producer PRIVATE TQ4_SIM_DIR="$<TARGET_FILE_DIR:ZEVO>")
endif()
