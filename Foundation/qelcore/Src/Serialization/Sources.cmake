target_sources(RiverKit PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/JSON.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Objects.cpp)
# The parser goes by the byte through layers that only an optimiser takes away: without one a large text
# takes a minute instead of a second.
set_property(SOURCE ${CMAKE_CURRENT_LIST_DIR}/JSON.cpp APPEND PROPERTY
  COMPILE_OPTIONS $<$<CONFIG:Debug>:-O2>)
