# The foundation comes first: its units must not depend on any set-up order, and nothing checks theirs.
foreach(folder IN ITEMS
    Platform/Src
    qelcore/Src/Text qelcore/Src/Memory qelcore/Src/Threads qelcore/Src/Debug qelcore/Src/Config
    qelcore/Src/Serialization
    qelcore/Src/Console qelcore/Src/Files
    qelmediatypes/Src ZOR/Src ZOR/Src/Files ZOR/Src/Registry ZORMessaging/Src MemoryBalancer/Src TQM/Src)
  include(${CMAKE_CURRENT_LIST_DIR}/${folder}/Sources.cmake OPTIONAL)
endforeach()
