# In the order of set-up at load time, which is contract. A unit that is still to come has its place
# marked by a comment.
target_sources(RiverKit PRIVATE
  # Src/DataCacheInFilesystem.cpp
  Src/ErrorReport.cpp
  Src/RiverKitServer.cpp
  Src/MediaType.cpp
  Src/PixelFormat.cpp
  Src/PlatformWindowManager.cpp
  Src/StreamLabel.cpp
  # Src/VolumeUtilities.cpp
  Src/Audio/AudioChannelType.cpp
  # Src/Linux/LinuxDirectoryChangeMonitor.cpp
  # Src/Linux/LinuxVolumeUtilities.cpp
  Src/MediaManager/MediaManager.cpp
  Src/PixelAspectRatio/PixelAspectRatio.cpp
  Src/Renderable/RenderableCutlistFactory.cpp
  # Src/SDKSupport/MoonVetch.cpp
  Src/Commands/StressMediaVector.cpp
  # No set-up of their own, so in any order:
  Src/FontServerState.cpp
  Src/Utils/MathConstants.cpp
  Src/Utils/MediaUIUtilities.cpp
  Src/PixelAspectRatio/PixelAspectRatioUtils.cpp
  Src/SDKSupport/SDKConversionUtils.cpp
  Src/SDKSupport/SDKValidation.cpp
  Src/LoadOrder.cpp
  Src/BinaryDataEncoding.cpp
  Src/DataCacheBase.cpp
  Src/DataCacheChain.cpp
  Src/DataCacheInMemory.cpp
  Src/DecodeQueue.cpp
  Src/DecodeQueueCounters.cpp
  Src/DecodeQueueMonitor.cpp
  Src/IdentifiedDecodeQueue.cpp
  Src/StillSequence.cpp
  Src/VRViewerTypes.cpp
  Src/SDKSupport/ModuleStressTester.cpp
  Src/FileManager/FileManager.cpp
  Src/FileManager/FileManagerImpl.cpp
  Src/DiskCacheManager.cpp
  Src/DiskCacheManagerFileUtils.cpp
  Src/DiskCacheManagerHandles.cpp
  Src/DiskCacheManagerLimits.cpp
  Src/DiskCacheManagerSweep.cpp
  )
include(${CMAKE_CURRENT_LIST_DIR}/MediaManager/Sources.cmake)
# The scale of a rectangle is the same on every processor: no product is fused with the sum behind it.
set_source_files_properties(Src/Utils/MediaUIUtilities.cpp PROPERTIES COMPILE_OPTIONS -ffp-contract=off)
