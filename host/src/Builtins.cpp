// The host's own node types: "time" (the scene's time1), "transform" and "mesh" shapes. They
// are built like user nodes, with the same attribute function sets and compute.
#include "HostInternal.h"

#include <maya/MDagPath.h>
#include <maya/MDataBlock.h>
#include <maya/MFnMeshData.h>
#include <maya/MFnNumericAttribute.h>
#include <maya/MFnTypedAttribute.h>
#include <maya/MFnUnitAttribute.h>
#include <maya/MPlug.h>

namespace {

// Type IDs of the host types, from a range no plug-in uses.
const unsigned int kTimeId = 0x7fff0001;
const unsigned int kTransformId = 0x7fff0002;
const unsigned int kMeshId = 0x7fff0003;

struct TimeNode : MPxNode {
    static MObject outTime;
    static void* creator() { return new TimeNode; }
    static MStatus initialize() {
        MFnUnitAttribute fn;
        outTime = fn.create("outTime", "o", MFnUnitAttribute::kTime, 0.0);
        fn.setStorable(false);
        return addAttribute(outTime);
    }
};
MObject TimeNode::outTime;

// Every DAG node of the host has "intermediateObject" (false unless set).
MObject intermediateAttribute() {
    MFnNumericAttribute fn;
    MObject attr = fn.create("intermediateObject", "io", MFnNumericData::kBoolean, 0.0);
    fn.setHidden(true);
    return attr;
}

struct TransformNode : MPxNode {
    static MObject translate, rotate, scale, visibility, intermediateObject, dynamics;
    static void* creator() { return new TransformNode; }
    static MStatus initialize() {
        MFnNumericAttribute fn;
        // Children named translateX ... scaleZ, as on the host's transforms.
        translate = fn.createPoint("translate", "t");
        fn.setKeyable(true);
        rotate = fn.createPoint("rotate", "r");
        fn.setKeyable(true);
        scale = fn.createPoint("scale", "s");
        fn.setDefault(1.0, 1.0, 1.0);
        fn.setKeyable(true);
        visibility = fn.create("visibility", "v", MFnNumericData::kBoolean, 1.0);
        fn.setKeyable(true);
        addAttribute(translate);
        addAttribute(rotate);
        addAttribute(scale);
        intermediateObject = intermediateAttribute();
        addAttribute(intermediateObject);
        // Locators tie their evaluation to their transform by connecting an output here.
        dynamics = fn.create("dynamics", "dyn", MFnNumericData::kBoolean, 0.0);
        addAttribute(dynamics);
        return addAttribute(visibility);
    }
};
MObject TransformNode::translate, TransformNode::rotate, TransformNode::scale, TransformNode::visibility,
    TransformNode::intermediateObject, TransformNode::dynamics;

// A mesh shape: its output is its input mesh (the stand-in keeps no history of its own).
// "worldMesh" (an array, one element per instance as in the host; element 0 is the first DAG
// path's) carries the same mesh with the shape's world matrix. It is recomputed when the mesh
// changes, not when a transform above moves: tests place shapes before reading it.
struct MeshNode : MPxNode {
    static MObject inMesh, outMesh, worldMesh, intermediateObject;
    static void* creator() { return new MeshNode; }
    static MStatus initialize() {
        intermediateObject = intermediateAttribute();
        addAttribute(intermediateObject);
        MFnTypedAttribute fn;
        inMesh = fn.create("inMesh", "i", MFnData::kMesh);
        fn.setHidden(true);
        outMesh = fn.create("outMesh", "o", MFnData::kMesh);
        fn.setWritable(false);
        fn.setStorable(false);
        worldMesh = fn.create("worldMesh", "w", MFnData::kMesh);
        fn.setArray(true);
        fn.setWritable(false);
        fn.setStorable(false);
        addAttribute(inMesh);
        addAttribute(outMesh);
        addAttribute(worldMesh);
        attributeAffects(inMesh, worldMesh);
        return attributeAffects(inMesh, outMesh);
    }
    MStatus compute(const MPlug& plug, MDataBlock& block) override {
        if (plug != outMesh && plug != worldMesh)
            return MS::kUnknownParameter;
        MObject in = block.inputValue(inMesh).data();
        MObject copy = MFnMeshData().create();
        if (auto* from = mhost::as<mhost::Data>(in))
            mhost::as<mhost::Data>(copy)->mesh = from->mesh;
        if (plug == worldMesh) {
            MDagPath path;
            MDagPath::getAPathTo(thisMObject(), path);
            auto* data = mhost::as<mhost::Data>(copy);
            data->hasWorldMatrix = true;
            data->worldMatrix = path.inclusiveMatrix();
            mhost::NodeAccess::node(this)->slot(mhost::as<mhost::Attribute>(worldMesh), 0).data = copy;
        } else {
            block.outputValue(outMesh).set(copy);
        }
        block.setClean(plug);
        return MS::kSuccess;
    }
};
MObject MeshNode::inMesh, MeshNode::outMesh, MeshNode::worldMesh, MeshNode::intermediateObject;

mhost::NodeType* hostType(const char* name, unsigned int id, MFn::Type api, bool dag, bool shape,
                          MCreatorFunction creator, MInitializeFunction init) {
    mhost::NodeType* t = mhost::addType(name, id, MPxNode::kDependNode, creator, "");
    t->apiType = api;
    t->isDag = dag;
    t->isShape = shape;
    mhost::initializeType(t, init);
    return t;
}

} // namespace

namespace mhost {

void registerHostTypes() {
    Session& s = session();
    if (findType("time"))
        return;
    hostType("time", kTimeId, MFn::kTime, false, false, &TimeNode::creator, &TimeNode::initialize);
    hostType("transform", kTransformId, MFn::kTransform, true, false, &TransformNode::creator,
             &TransformNode::initialize);
    hostType("mesh", kMeshId, MFn::kMesh, true, true, &MeshNode::creator, &MeshNode::initialize);
    registerCameraType();
    registerCurveType();
    s.timeNode = createNode(findType("time"), "time1", nullptr, nullptr).get();
}

} // namespace mhost
