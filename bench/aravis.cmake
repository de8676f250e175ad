# Aravis' fake GigE Vision camera streamed by Aravis alone, through tq4_aravis.cti and through
# the driver with that producer (run by hand, see README.md).
if(TARGET tq4_aravis)
  tq4_add_bench(aravis_stream_bench SOURCES ${CMAKE_CURRENT_LIST_DIR}/aravis_stream.cpp
    LIBS tq4_genicam tq4_platform PkgConfig::ARAVIS)
  add_dependencies(aravis_stream_bench tq4_aravis)
  target_compile_definitions(aravis_stream_bench PRIVATE
    TQ4_ARAVIS_CTI="$<TARGET_FILE:tq4_aravis>" TQ4_ARAVIS_DIR="$<TARGET_FILE_DIR:tq4_aravis>")
  target_include_directories(aravis_stream_bench PRIVATE ${PROJECT_SOURCE_DIR}/include)
endif()
