# The copy of a delivery (plain and shifted) against memcpy of the same bytes.
tq4_add_bench(copy_bench SOURCES ${CMAKE_CURRENT_LIST_DIR}/copy.cpp LIBS tq4_pixels)
