// A scene for the tree skeleton node and its curve command on the host stand-in: the node and
// command (compiled into the test) registered by an in-process plug-in, and mesh shapes made
// from core meshes and connected to the node's "inMeshes".
#pragma once

#include "KDrawOverride.h"
#include "KTreeSkeletonGen.h"
#include "KTreeSkeletonGenCmd.h"

#include <kelno/KMesh.h>
#include <kelno/maya/KMayaUtils.h>

#include <host/Host.h>

#include <maya/MDrawRegistry.h>
#include <maya/MFnMesh.h>
#include <maya/MFnPlugin.h>
#include <maya/MIntArray.h>
#include <maya/MPointArray.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace KelnoTest {

inline void registerSkeletonPlugin() {
    MObject pluginObject = Host::inProcessPlugin("KelnoSkeletonTest");
    MFnPlugin plugin(pluginObject, "Kelno", "1.0", "Any");
    ASSERT_TRUE(plugin.registerNode(KTreeSkeletonGen::nodeTypeName, KTreeSkeletonGen::nodeTypeId,
                                    &KTreeSkeletonGen::creator, &KTreeSkeletonGen::initialize,
                                    MPxNode::kLocatorNode, &KTreeSkeletonGen::drawDbClassification));
    ASSERT_TRUE(MHWRender::MDrawRegistry::registerDrawOverrideCreator(
        KTreeSkeletonGen::drawDbClassification, KTreeSkeletonGen::drawRegistrantId,
        &Kelno::KDrawOverride<KTreeSkeletonGen>::Creator));
    ASSERT_TRUE(plugin.registerCommand(KTreeSkeletonGenCmd::commandName, &KTreeSkeletonGenCmd::creator,
                                       &KTreeSkeletonGenCmd::newSyntax));
}

inline void unregisterDrawOverrides() {
    for (const auto& d : Host::registeredDrawOverrides())
        MHWRender::MDrawRegistry::deregisterDrawOverrideCreator(d.classification.c_str(),
                                                                d.registrantId.c_str());
}

// A mesh shape (under a new transform) with the mesh's positions and triangles; its name.
inline std::string addMeshShape(const Kelno::KTriMesh& m) {
    MPointArray points;
    for (const Kelno::KVector& p : m.positions)
        points.append(MPoint(p.x, p.y, p.z));
    MIntArray counts, connects;
    for (const Kelno::KInt3& t : m.triangles) {
        counts.append(3);
        for (int k = 0; k < 3; ++k)
            connects.append(t[k]);
    }
    MFnMesh fn;
    MObject transform = fn.create(static_cast<int>(points.length()), static_cast<int>(counts.length()),
                                  points, counts, connects);
    return Kelno::MObjectToNodeName(MFnDagNode(transform).child(0)).asChar();
}

// A skeleton node fed by the given meshes (elements 0, 1, ...); its name.
inline std::string skeletonNode(const std::vector<Kelno::KTriMesh>& meshes, int iterations, float step) {
    const std::string node = Kelno::MObjectToNodeName(Host::createNode("KTreeSkeletonGen")).asChar();
    for (std::size_t i = 0; i < meshes.size(); ++i)
        EXPECT_TRUE(Host::connect(addMeshShape(meshes[i]) + ".outMesh",
                                  node + ".inMeshes[" + std::to_string(i) + "]"));
    Host::plug(node + ".iter").setValue(iterations);
    Host::plug(node + ".dist").setValue(step);
    return node;
}

inline KTreeSkeletonGen* skeletonUser(const std::string& node) {
    return dynamic_cast<KTreeSkeletonGen*>(MFnDependencyNode(Host::findNode(node)).userNode());
}

} // namespace KelnoTest
