# In the order of set-up at load time, which is contract.
target_sources(RiverKit PRIVATE
  Src/DataCacheInFilesystem.cpp
  Src/ErrorReport.cpp
  Src/RiverKitServer.cpp
  Src/MediaType.cpp
  Src/PixelFormat.cpp
  Src/PlatformWindowManager.cpp
  Src/StreamLabel.cpp
  Src/VolumeUtilities.cpp
  Src/Audio/AudioChannelType.cpp
  Src/Linux/LinuxDirectoryChangeMonitor.cpp
  Src/Linux/LinuxVolumeUtilities.cpp
  Src/MediaManager/MediaManager.cpp
  Src/PixelAspectRatio/PixelAspectRatio.cpp
  Src/Renderable/RenderableCutlistFactory.cpp
  Src/SDKSupport/MoonVetch.cpp
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
  Src/CacheFolderChangeMonitor.cpp
  Src/DataCacheBase.cpp
  Src/DataCacheChain.cpp
  Src/DataCacheFolder.cpp
  Src/DataCacheInMemory.cpp
  Src/DataCacheItemName.cpp
  Src/DataCacheJobs.cpp
  Src/DataCacheRepair.cpp
  Src/DataCacheReport.cpp
  Src/DataCacheWriter.cpp
  Src/DecodeQueue.cpp
  Src/DecodeQueueCounters.cpp
  Src/DecodeQueueMonitor.cpp
  Src/IdentifiedDecodeQueue.cpp
  Src/DirectoryEventThread.cpp
  Src/MainLoopFolderEvents.cpp
  Src/StillSequence.cpp
  Src/VolumeLookUp.cpp
  Src/VRViewerTypes.cpp
  Src/SDKSupport/ModuleStressTester.cpp
  Src/TimeBlend.cpp
  Src/TimeTransform.cpp
  Src/Keyframe/BezierBatch.cpp
  Src/Keyframe/BezierCore.cpp
  Src/Keyframe/BezierUtils.cpp
  Src/Keyframe/PointKeyframeVelocityCache.cpp
  Src/FileManager/FileManager.cpp
  Src/FileManager/FileManagerImpl.cpp
  Src/DiskCacheManager.cpp
  Src/DiskCacheManagerAttendance.cpp
  Src/DiskCacheManagerDirectorySweep.cpp
  Src/DiskCacheManagerFileUtils.cpp
  Src/DiskCacheManagerHandles.cpp
  Src/DiskCacheManagerLimits.cpp
  Src/DiskCacheManagerSweep.cpp
  Src/DiskCacheManagerTree.cpp
  )
include(${CMAKE_CURRENT_LIST_DIR}/MediaManager/Sources.cmake)

# Curve mathematics, and the scale of a rectangle, have the same bits whatever flags a build is made with:
# nothing is fused, reordered or left out. These stand behind the flags of the build; a test compiles by
# the same list for a processor that could fuse. In this order: clang takes the first for more than it says.
set(RK_REPRODUCIBLE_OPTIONS -fno-fast-math -ffp-contract=off)
set_source_files_properties(
  Src/TimeBlend.cpp Src/TimeTransform.cpp Src/Keyframe/BezierBatch.cpp Src/Keyframe/BezierCore.cpp
  Src/Keyframe/BezierUtils.cpp Src/Keyframe/PointKeyframeVelocityCache.cpp
  Src/Utils/MediaUIUtilities.cpp
  PROPERTIES COMPILE_OPTIONS "${RK_REPRODUCIBLE_OPTIONS}")
# g++ leaves loops of unknown length alone at -O2.
set_property(SOURCE Src/Keyframe/BezierBatch.cpp Src/Keyframe/BezierUtils.cpp APPEND PROPERTY
  COMPILE_OPTIONS $<$<CXX_COMPILER_ID:GNU>:-fvect-cost-model=dynamic>)
