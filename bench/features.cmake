# Feature helpers over the node map: round trips per call, register cache off (as shipped)
# against on.
tq4_add_bench(bench_features SOURCES ${CMAKE_CURRENT_LIST_DIR}/features_nodemap.cpp LIBS tq4_features)
