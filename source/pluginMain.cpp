// Entry points of the plug-in: what it registers, in registration order.
//
// New node and command classes join by one row in the tables below. The order of the rows is
// the registration order and also the deregistration order.
#include "KCheckCollisionCmd.h"
#include "KDelaunay2DCmd.h"
#include "KDetectInsideComponentsCmd.h"
#include "KDrawOverride.h"
#include "KEnvSphere.h"
#include "KExportUVs.h"
#include "KGetXForm.h"
#include "KImportUVs.h"
#include "KMeshClipper.h"
#include "KMeshLoader.h"
#include "KMeshXFormBinder.h"
#include "KPluginRegistration.h"
#include "KTransferUVs.h"
#include "KTreeSkeletonGen.h"
#include "KTreeSkeletonGenCmd.h"

#include <kelno/KGL.h>

#include <maya/MFnPlugin.h>
#include <maya/MGlobal.h>
#include <maya/MObject.h>
#include <maya/MPxNode.h>

#include <iostream>

// The two entry points the host looks up by name: C linkage and exported, whatever the
// library's default symbol visibility.
#if defined(_WIN32)
#define KELNO_PLUGIN_ENTRY extern "C" __declspec(dllexport)
#else
#define KELNO_PLUGIN_ENTRY extern "C" __attribute__((visibility("default")))
#endif

namespace {

const KNodeRegistration kNodes[] = {
    // type name, type ID, creator, initialize, kind,
    //   draw classification, draw-registrant ID, draw-override creator (locators only)
    {&KMeshLoader::nodeTypeName, &KMeshLoader::nodeTypeId, &KMeshLoader::creator, &KMeshLoader::initialize,
     MPxNode::kDependNode, nullptr, nullptr, nullptr},
    {&KMeshClipper::nodeTypeName, &KMeshClipper::nodeTypeId, &KMeshClipper::creator,
     &KMeshClipper::initialize, MPxNode::kDependNode, nullptr, nullptr, nullptr},
    {&KMeshXFormBinder::nodeTypeName, &KMeshXFormBinder::nodeTypeId, &KMeshXFormBinder::creator,
     &KMeshXFormBinder::initialize, MPxNode::kDependNode, nullptr, nullptr, nullptr},
    {&KEnvSphere::nodeTypeName, &KEnvSphere::nodeTypeId, &KEnvSphere::creator, &KEnvSphere::initialize,
     MPxNode::kLocatorNode, &KEnvSphere::drawDbClassification, &KEnvSphere::drawRegistrantId,
     &Kelno::KDrawOverride<KEnvSphere>::Creator},
    {&KTreeSkeletonGen::nodeTypeName, &KTreeSkeletonGen::nodeTypeId, &KTreeSkeletonGen::creator,
     &KTreeSkeletonGen::initialize, MPxNode::kLocatorNode, &KTreeSkeletonGen::drawDbClassification,
     &KTreeSkeletonGen::drawRegistrantId, &Kelno::KDrawOverride<KTreeSkeletonGen>::Creator},
    {nullptr, nullptr, nullptr, nullptr, MPxNode::kDependNode, nullptr, nullptr, nullptr},
};

const KCommandRegistration kCommands[] = {
    {&KGetXForm::commandName, &KGetXForm::creator, &KGetXForm::newSyntax},
    {&KExportUVs::commandName, &KExportUVs::creator, &KExportUVs::newSyntax},
    {&KImportUVs::commandName, &KImportUVs::creator, &KImportUVs::newSyntax},
    {&KTransferUVs::commandName, &KTransferUVs::creator, &KTransferUVs::newSyntax},
    {&KCheckCollisionCmd::commandName, &KCheckCollisionCmd::creator, &KCheckCollisionCmd::newSyntax},
    {&KDetectInsideComponentsCmd::commandName, &KDetectInsideComponentsCmd::creator,
     &KDetectInsideComponentsCmd::newSyntax},
    {&KDelaunay2DCmd::commandName, &KDelaunay2DCmd::creator, &KDelaunay2DCmd::newSyntax},
    {&KTreeSkeletonGenCmd::commandName, &KTreeSkeletonGenCmd::creator, &KTreeSkeletonGenCmd::newSyntax},
    {nullptr, nullptr, nullptr},
};

const char* const kScripts[] = {
    "KelnoUtils.mel",          "KelnoMenu.mel",
    "KEnvSphere.mel",          "KAbcViewer.mel",
    "KMeshLoader.mel",         "KMeshClipper.mel",
    "KUVTransferWin.mel",      "KMeshXFormBinder.mel",
    "KCollisionMapGenWin.mel", "KDetectInsideComponents.mel",
    "KDelaunay2DCmd.mel",      "KTreeSkeletonGen.mel",
    "KTreeSkeletonGenCmd.mel", nullptr,
};

const KPluginTables kTables = {kNodes, kCommands, kScripts, "CreateKelnoMenu", "DeleteKelnoMenu"};

// In interactive and base-UI sessions only: load the GL entry points and warn when the
// framebuffer objects the collision maps render into are unsupported. Neither stops the load.
void initGL() {
    const MGlobal::MMayaState state = MGlobal::mayaState();
    if (state == MGlobal::kBatch || state == MGlobal::kLibraryApp)
        return;
    glewInit();
    // Without a current GL context GLEW cannot load the entry point; there is nothing to check.
    if (!glCheckFramebufferStatusEXT)
        return;
    if (glCheckFramebufferStatusEXT(GL_FRAMEBUFFER_EXT) == GL_FRAMEBUFFER_UNSUPPORTED_EXT)
        std::cout << "Error: GL_FRAMEBUFFER_UNSUPPORTED_EXT" << std::endl;
}

} // namespace

KELNO_PLUGIN_ENTRY MStatus initializePlugin(MObject obj) {
    MFnPlugin plugin(obj, "Kelno", "1.0", "Any");
    initGL();
    return KRegisterPlugin(plugin, kTables);
}

KELNO_PLUGIN_ENTRY MStatus uninitializePlugin(MObject obj) {
    MFnPlugin plugin(obj, "Unknown", "Unknown", "Any");
    return KDeregisterPlugin(plugin, kTables);
}
