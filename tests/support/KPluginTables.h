// What the plug-in registers, as the tests expect it: node types in registration order (the
// first three dependency nodes, the rest locators), commands, and the MEL scripts sourced at
// load. One copy for every test that checks registration.
#pragma once

namespace KelnoTest {

inline constexpr const char* kNodeTypeNames[] = {"KMeshLoader",     "KMeshClipper", "KMeshXFormBinder",
                                                 "KEnvSphere",      "KAbcViewer",   "KAbcViewerInstance",
                                                 "KTreeSkeletonGen"};
inline constexpr unsigned int kNodeTypeIds[] = {0x90003, 0x90001, 0x90002, 0x90004,
                                                0x82009, 0x82010, 0x90006};
inline constexpr int kFirstLocator = 3;

inline constexpr const char* kCommandNames[] = {"KGetXForm",
                                                "KExportUVs",
                                                "KImportUVs",
                                                "KTransferUVs",
                                                "KCheckCollisionCmd",
                                                "KCollisionMapGenCmd",
                                                "KDetectInsideComponentsCmd",
                                                "KDelaunay2DCmd",
                                                "KTreeSkeletonGenCmd"};

// Null-terminated, as the registration tables take it.
inline constexpr const char* kPluginScripts[] = {"KelnoUtils.mel",          "KelnoMenu.mel",
                                                 "KEnvSphere.mel",          "KAbcViewer.mel",
                                                 "KMeshLoader.mel",         "KMeshClipper.mel",
                                                 "KUVTransferWin.mel",      "KMeshXFormBinder.mel",
                                                 "KCollisionMapGenWin.mel", "KDetectInsideComponents.mel",
                                                 "KDelaunay2DCmd.mel",      "KTreeSkeletonGen.mel",
                                                 "KTreeSkeletonGenCmd.mel", nullptr};
inline constexpr int kScriptCount = 13;

} // namespace KelnoTest
