target_sources(RiverKit PRIVATE ${CMAKE_CURRENT_LIST_DIR}/Console.cpp)
