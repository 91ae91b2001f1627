target_sources(RiverKit PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/TextConversion.cpp
  ${CMAKE_CURRENT_LIST_DIR}/NumberText.cpp
  ${CMAKE_CURRENT_LIST_DIR}/CaseFolding.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Locale.cpp
  ${CMAKE_CURRENT_LIST_DIR}/UTFStream.cpp
  ${CMAKE_CURRENT_LIST_DIR}/BinaryText.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Guid.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MixHash.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ImmutableStringEntry.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ImmutableStringTable.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ImmutableString.cpp)
