rk_add_tests(still_sequence_tests LABELS stills SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/StillSequenceDiskTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/StillSequenceTextTest.cpp)

rk_add_tests(still_sequence_internal_tests INTERNAL LABELS stills SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/ClassicSequenceTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ModificationStateTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RecognitionTest.cpp)

rk_add_tests(still_sequence_stress_tests LABELS stills stress SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/StillSequenceStressTest.cpp)
