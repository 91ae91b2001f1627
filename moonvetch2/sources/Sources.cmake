target_sources(RiverKit PRIVATE ${CMAKE_CURRENT_LIST_DIR}/MVBlocks.cpp)
target_sources(RiverKit PRIVATE ${CMAKE_CURRENT_LIST_DIR}/MVError.cpp)
target_sources(RiverKit PRIVATE ${CMAKE_CURRENT_LIST_DIR}/MVHost.cpp)
target_sources(RiverKit PRIVATE ${CMAKE_CURRENT_LIST_DIR}/MVStrHp.cpp)
target_sources(RiverKit PRIVATE ${CMAKE_CURRENT_LIST_DIR}/MVStrngs.cpp)
target_sources(RiverKit PRIVATE ${CMAKE_CURRENT_LIST_DIR}/MVThread.cpp)
target_sources(RiverKit PRIVATE ${CMAKE_CURRENT_LIST_DIR}/edge/MVEFiles.cpp)
target_sources(RiverKit PRIVATE ${CMAKE_CURRENT_LIST_DIR}/edge/MVELoad.cpp)

# With block debug on, records begin at multiples of 4 only, as all blocks then do. That is the layout of blocks,
# and this machine reads it well.
if(RK_SANITIZE MATCHES "undefined")
  get_target_property(sources RiverKit SOURCES)
  list(FILTER sources INCLUDE REGEX "moonvetch2/sources/")
  set_source_files_properties(${sources} PROPERTIES COMPILE_OPTIONS -fno-sanitize=alignment)
endif()
