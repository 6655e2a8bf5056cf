// Stand-in for Maya's MPxNode: the base of user-defined dependency nodes. The host creates a
// user node through the creator registered with MFnPlugin::registerNode, ties it to its
// scene node, then calls postConstructor. Static attributes are added to the node type whose
// initialize function is running.
#pragma once

#include <maya/MObject.h>
#include <maya/MString.h>
#include <maya/MTypeId.h>

namespace mhost {
struct NodeAccess;
}

class MDataBlock;
class MPlug;
class MPlugArray;

class OPENMAYA_EXPORT MPxNode {
  public:
    enum Type {
        kDependNode,
        kLocatorNode,
        kDeformerNode,
        kManipContainer,
        kSurfaceShape,
        kFieldNode,
        kEmitterNode,
        kSpringNode,
        kIkSolverNode,
        kHardwareShader,
        kHwShaderNode,
        kTransformNode,
        kObjectSet,
        kFluidEmitterNode,
        kImagePlaneNode,
        kParticleAttributeMapperNode,
        kCameraSetNode,
        kConstraintNode,
        kManipulatorNode,
        kMotionPathNode,
        kClientDeviceNode,
        kThreadedDeviceNode,
        kAssembly,
        kSkinCluster,
        kGeometryFilter,
        kBlendShape,
        kLast
    };

    MPxNode();
    virtual ~MPxNode();

    virtual void postConstructor();
    // Called to compute an output plug. The default answers kUnknownParameter.
    virtual MStatus compute(const MPlug& plug, MDataBlock& dataBlock);
    virtual Type type() const;
    virtual bool isAbstractClass() const;
    virtual MStatus setDependentsDirty(const MPlug& plug, MPlugArray& plugArray);

    MTypeId typeId() const;
    MString typeName() const;
    MString name() const;
    MObject thisMObject() const;

    static MStatus addAttribute(const MObject& attr);
    static MStatus inheritAttributesFrom(const MString& parentClassName);
    static MStatus attributeAffects(const MObject& whenChanges, const MObject& isAffected);

    // Attributes every node has.
    static MObject message;
    static MObject isHistoricallyInteresting;
    static MObject caching;
    static MObject state;
    static MObject frozen;

  private:
    MPxNode(const MPxNode&);
    MPxNode& operator=(const MPxNode&);

    friend struct mhost::NodeAccess;
    void* instance;
};
