# Sustained frame rate of the simulated producer ZEVO.cti for full Mono16 frames.
tq4_add_bench(sim_framerate_bench SOURCES ${CMAKE_CURRENT_LIST_DIR}/sim_framerate.cpp LIBS tq4_platform)
target_compile_definitions(sim_framerate_bench PRIVATE ZEVO_CTI_PATH="$<TARGET_FILE:ZEVO>")
add_dependencies(sim_framerate_bench ZEVO)
