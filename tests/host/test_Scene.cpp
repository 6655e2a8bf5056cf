// The scene of the host stand-in: user nodes, attributes, connections, dirty propagation and
// pull evaluation, DAG paths, mesh data, modifiers and messages.
#include <host/Host.h>

#include <maya/MArrayDataHandle.h>
#include <maya/MDGModifier.h>
#include <maya/MDagPath.h>
#include <maya/MDataBlock.h>
#include <maya/MDataHandle.h>
#include <maya/MFnDagNode.h>
#include <maya/MFnDependencyNode.h>
#include <maya/MFnEnumAttribute.h>
#include <maya/MFnMesh.h>
#include <maya/MFnMeshData.h>
#include <maya/MFnNumericAttribute.h>
#include <maya/MFnUnitAttribute.h>
#include <maya/MIntArray.h>
#include <maya/MPlug.h>
#include <maya/MPlugArray.h>
#include <maya/MPoint.h>
#include <maya/MPointArray.h>
#include <maya/MPxNode.h>
#include <maya/MSpace.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

// out = a + b (+ the frame of "time"), counting its computes.
class TAdder : public MPxNode {
  public:
    static MObject a, b, time, out, colour, mode;
    static int computes;
    static bool cleans; // whether compute marks its plug clean, as a node must
    static void* creator() { return new TAdder; }
    static MStatus initialize() {
        MFnNumericAttribute num;
        a = num.create("a", "a", MFnNumericData::kDouble, 1.5);
        num.setKeyable(true);
        num.setMin(-10.0);
        num.setSoftMax(5.0);
        b = num.create("b", "b", MFnNumericData::kInt, 2);
        num.setStorable(false);
        colour = num.createColor("colour", "colour");
        num.setDefault(0.25f, 0.5f, 0.75f);
        MFnUnitAttribute unit;
        time = unit.create("time", "time", MFnUnitAttribute::kTime, 0.0);
        unit.setHidden(true);
        MFnEnumAttribute en;
        mode = en.create("mode", "mode", 1);
        en.addField("off", 0);
        en.addField("on", 1);
        out = num.create("out", "out", MFnNumericData::kDouble, 0.0);
        num.setWritable(false);
        for (MObject* attr : {&a, &b, &colour, &time, &mode, &out})
            if (!addAttribute(*attr))
                return MS::kFailure;
        for (MObject* in : {&a, &b, &time})
            attributeAffects(*in, out);
        return MS::kSuccess;
    }
    void postConstructor() override { MFnDependencyNode(thisMObject()).setName("TAdder#"); }
    MStatus compute(const MPlug& plug, MDataBlock& block) override {
        if (plug != out)
            return MS::kUnknownParameter;
        ++computes;
        double sum = block.inputValue(a).asDouble() + block.inputValue(b).asInt() +
                     block.inputValue(time).asTime().as(MTime::uiUnit());
        block.outputValue(out).set(sum);
        if (cleans)
            block.setClean(plug);
        return MS::kSuccess;
    }
};
MObject TAdder::a, TAdder::b, TAdder::time, TAdder::out, TAdder::colour, TAdder::mode;
int TAdder::computes = 0;
bool TAdder::cleans = true;

// total = sum of the elements of the array input "inputs", visited through an array handle.
class TSum : public MPxNode {
  public:
    static MObject inputs, total;
    static std::vector<unsigned int> lastIndices;
    static void* creator() { return new TSum; }
    static MStatus initialize() {
        MFnNumericAttribute num;
        inputs = num.create("inputs", "inputs", MFnNumericData::kDouble, 0.0);
        num.setArray(true);
        total = num.create("total", "total", MFnNumericData::kDouble, 0.0);
        addAttribute(inputs);
        addAttribute(total);
        return attributeAffects(inputs, total);
    }
    MStatus compute(const MPlug& plug, MDataBlock& block) override {
        if (plug != total)
            return MS::kUnknownParameter;
        MArrayDataHandle elements = block.inputArrayValue(inputs);
        double sum = 0.0;
        lastIndices.clear();
        for (unsigned int i = 0; i < elements.elementCount(); ++i, elements.next()) {
            lastIndices.push_back(elements.elementIndex());
            sum += elements.inputValue().asDouble();
        }
        MDataHandle handle = block.outputValue(total);
        handle.set(sum);
        handle.setClean();
        return MS::kSuccess;
    }
};
MObject TSum::inputs, TSum::total;
std::vector<unsigned int> TSum::lastIndices;

// out3 = in3 * 2 component-wise, through the compound handles.
class TDoubler : public MPxNode {
  public:
    static MObject in3, out3;
    static void* creator() { return new TDoubler; }
    static MStatus initialize() {
        MFnNumericAttribute num;
        in3 = num.create("in3", "in3", MFnNumericData::k3Float, 1.0);
        out3 = num.createPoint("out3", "out3");
        addAttribute(in3);
        addAttribute(out3);
        return attributeAffects(in3, out3);
    }
    MStatus compute(const MPlug& plug, MDataBlock& block) override {
        if (plug != out3 && plug.parent() != out3)
            return MS::kUnknownParameter;
        const float3& v = block.inputValue(in3).asFloat3();
        block.outputValue(out3).set(2.0 * v[0], 2.0 * v[1], 2.0 * v[2]);
        block.setClean(out3);
        return MS::kSuccess;
    }
};
MObject TDoubler::in3, TDoubler::out3;

class SceneTest : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        ASSERT_TRUE(Host::registerNodeType("TAdder", 0x7000, &TAdder::creator, &TAdder::initialize));
        ASSERT_TRUE(Host::registerNodeType("TSum", 0x7001, &TSum::creator, &TSum::initialize));
        ASSERT_TRUE(Host::registerNodeType("TDoubler", 0x7002, &TDoubler::creator, &TDoubler::initialize));
    }
    void SetUp() override {
        Host::resetSession();
        TAdder::computes = 0;
        TAdder::cleans = true;
    }
};

TEST_F(SceneTest, AttributesAreRecordedAndNodesRenamedByPostConstructor) {
    MFnNumericAttribute a(TAdder::a);
    double v = 0;
    EXPECT_TRUE(a.isKeyable());
    EXPECT_TRUE(a.hasMin() && a.getMin(v) && v == -10.0);
    EXPECT_TRUE(a.hasSoftMax() && !a.hasMax());
    EXPECT_TRUE(a.getDefault(v) && v == 1.5);
    EXPECT_FALSE(MFnNumericAttribute(TAdder::b).isStorable());
    EXPECT_EQ(MFnAttribute(MFnNumericAttribute(TAdder::colour).child(2)).name(), "colourB");
    EXPECT_EQ(MFnEnumAttribute(TAdder::mode).fieldIndex("off"), 0);
    MStatus st;
    MFnEnumAttribute wrong(TAdder::a, &st);
    EXPECT_EQ(st, MS::kInvalidParameter) << "a function set does not attach to the wrong kind";
    MObject n1 = Host::createNode("TAdder");
    Host::createNode("TAdder");
    EXPECT_EQ(MFnDependencyNode(n1).name(), "TAdder1");
    ASSERT_NE(MFnDependencyNode(n1).userNode(), nullptr);
    EXPECT_EQ(MFnDependencyNode(n1).userNode()->thisMObject(), n1);
    Host::deleteNode(n1);
    EXPECT_TRUE(n1.isNull());
    EXPECT_EQ(MFnDependencyNode(Host::createNode("TAdder")).name(), "TAdder1") << "a freed number is reused";
    EXPECT_EQ(MFnDependencyNode(Host::createNode("transform", "TAdder2")).name(), "TAdder3");
}

TEST_F(SceneTest, PullEvaluationComputesUntilComputeCleans) {
    Host::createNode("TAdder");
    MPlug out = Host::plug("TAdder1.out");
    EXPECT_DOUBLE_EQ(out.asDouble(), 3.5);
    EXPECT_DOUBLE_EQ(out.asDouble(), 3.5);
    EXPECT_EQ(TAdder::computes, 1) << "a clean output is not computed again";
    Host::plug("TAdder1.b").setValue(10);
    EXPECT_EQ(TAdder::computes, 1) << "setting an input only dirties";
    EXPECT_DOUBLE_EQ(out.asDouble(), 11.5);
    EXPECT_EQ(TAdder::computes, 2);
    // A compute that does not clean its plug leaves it dirty: every request computes again.
    TAdder::cleans = false;
    Host::plug("TAdder1.b").setValue(1);
    EXPECT_DOUBLE_EQ(out.asDouble(), 2.5);
    EXPECT_DOUBLE_EQ(out.asDouble(), 2.5);
    EXPECT_EQ(TAdder::computes, 4);
    EXPECT_FALSE(Host::dataBlock(Host::findNode("TAdder1")).isClean(TAdder::out));
}

TEST_F(SceneTest, ConnectionsAndTimePullUpstreamAndPropagateDirt) {
    Host::createNode("TAdder");
    Host::createNode("TAdder");
    ASSERT_TRUE(Host::connect("TAdder1.out", "TAdder2.a"));
    EXPECT_FALSE(Host::connect("TAdder1.out", "TAdder2.a")) << "one incoming connection per plug";
    ASSERT_TRUE(Host::connect("time1.outTime", "TAdder1.time"));
    MPlug out2 = Host::plug("TAdder2.out");
    EXPECT_DOUBLE_EQ(out2.asDouble(), 3.5 + 2.0);
    Host::setCurrentTime(MTime(1.0, MTime::kSeconds));
    EXPECT_DOUBLE_EQ(out2.asDouble(), 27.5 + 2.0) << "24 frames at the film unit";
    EXPECT_EQ(TAdder::computes, 4);
    MPlugArray sources;
    EXPECT_TRUE(Host::plug("TAdder2.a").connectedTo(sources, true, false));
    ASSERT_EQ(sources.length(), 1u);
    EXPECT_EQ(sources[0].name(), "TAdder1.out");
    ASSERT_TRUE(Host::disconnect("TAdder1.out", "TAdder2.a"));
    Host::plug("TAdder1.a").setValue(100.0);
    EXPECT_DOUBLE_EQ(out2.asDouble(), 29.5) << "a disconnected input keeps its last value";
}

TEST_F(SceneTest, ArrayElementsAreConnectedSetAndVisitedByLogicalIndex) {
    Host::createNode("TAdder");
    Host::createNode("TSum");
    ASSERT_TRUE(Host::connect("TAdder1.out", "tSum1.inputs[3]"));
    ASSERT_TRUE(Host::plug("tSum1.inputs[1]").setValue(10.0));
    MPlug total = Host::plug("tSum1.total");
    EXPECT_DOUBLE_EQ(total.asDouble(), 13.5);
    EXPECT_EQ(TSum::lastIndices, (std::vector<unsigned int>{1, 3}));
    Host::plug("TAdder1.b").setValue(0);
    EXPECT_DOUBLE_EQ(total.asDouble(), 11.5) << "an upstream change reaches the element";
}

TEST_F(SceneTest, ExtendToShapeSkipsIntermediateObjectsReparentingMovesAndDeletionTakesChildren) {
    MObject group = Host::createNode("transform", "group");
    MObject xform = Host::createNode("transform", "body", group);
    MObject orig = Host::createNode("mesh", "bodyShapeOrig", xform);
    MObject shape = Host::createNode("mesh", "bodyShape", xform);
    EXPECT_EQ(MFnDagNode(shape).fullPathName(), "|group|body|bodyShape");
    MDagPath path;
    ASSERT_TRUE(MDagPath::getAPathTo(xform, path));
    EXPECT_FALSE(path.extendToShape()) << "two shapes, neither intermediate";
    EXPECT_EQ(path.node(), xform);
    ASSERT_TRUE(MFnDagNode(orig).setIntermediateObject(true));
    EXPECT_TRUE(MFnDagNode(orig).isIntermediateObject());
    ASSERT_TRUE(path.extendToShape());
    EXPECT_EQ(path.node(), shape);
    EXPECT_EQ(path.transform(), xform);
    ASSERT_TRUE(path.extendToShape()) << "a path to a shape stays";
    MFnDagNode(shape).setIntermediateObject(true);
    MDagPath::getAPathTo(xform, path);
    EXPECT_FALSE(path.extendToShape()) << "only intermediate shapes";
    MDagPath::getAPathTo(group, path);
    EXPECT_FALSE(path.extendToShape()) << "no shape directly below";
    MObject other = Host::createNode("transform", "other");
    ASSERT_TRUE(MFnDagNode(other).addChild(shape));
    EXPECT_EQ(MFnDagNode(shape).fullPathName(), "|other|bodyShape");
    EXPECT_EQ(MFnDagNode(xform).childCount(), 1u);
    EXPECT_FALSE(MFnDagNode(shape).addChild(group)) << "a shape has no children";
    ASSERT_TRUE(Host::deleteNode(group));
    EXPECT_TRUE(orig.isNull() && xform.isNull());
    EXPECT_TRUE(Host::findNode("bodyShapeOrig").isNull());
    EXPECT_FALSE(shape.isNull()) << "moved away before";
    EXPECT_FALSE(Host::deleteNode(Host::findNode("time1"))) << "time1 stays";
}

TEST_F(SceneTest, MeshCreateFillsDataOrMakesAShape) {
    MPointArray points;
    for (const MPoint& p : {MPoint(1, 0, 0), MPoint(0, 1, 0), MPoint(0, 0, 1), MPoint(1, 1, 1)})
        points.append(p);
    const MIntArray counts(std::vector<int>{4}.data(), 1), connects(std::vector<int>{0, 1, 2, 3}.data(), 4);
    MStatus st;
    MObject data = MFnMeshData().create();
    EXPECT_EQ(MFnMesh().create(4, 1, points, counts, connects, data, &st), data);
    ASSERT_TRUE(st);
    MObject quad = Host::createNode("mesh", "quadShape");
    ASSERT_TRUE(Host::plug("quadShape.inMesh").setValue(data));
    EXPECT_EQ(MFnMesh(quad).numEdges(), 4);
    // No parent: a transform and a shape, the transform returned (the paths of the shapes made
    // so are checked by the selection tests).
    MObject transform = MFnMesh().create(4, 1, points, counts, connects, MObject::kNullObj, &st);
    MObject shape = MFnDagNode(transform).child(0);
    // A transform parent: the new shape under it is returned.
    MObject second = MFnMesh().create(4, 1, points, counts, connects, transform, &st);
    ASSERT_TRUE(st);
    EXPECT_TRUE(second.hasFn(MFn::kMesh));
    EXPECT_EQ(MFnDagNode(second).parent(0), transform);
    EXPECT_EQ(MFnDagNode(transform).childCount(), 2u);
    const std::string name = MFnDependencyNode(transform).name().asChar();
    Host::plug(name + ".translateX").setValue(10.0);
    Host::plug(name + ".scaleY").setValue(3.0);
    MDagPath path;
    MDagPath::getAPathTo(shape, path);
    MPoint world, local;
    ASSERT_TRUE(MFnMesh(path).getPoint(1, world, MSpace::kWorld));
    EXPECT_TRUE(world.isEquivalent(MPoint(10, 3, 0))) << world;
    MFnMesh(path).getPoint(1, local);
    EXPECT_EQ(local, MPoint(0, 1, 0));
}

TEST_F(SceneTest, ModifiersConnectRenameCreateAndUndo) {
    Host::createNode("TAdder");
    Host::createNode("TAdder");
    MDGModifier mod;
    ASSERT_TRUE(mod.connect(Host::plug("TAdder1.out"), Host::plug("TAdder2.a")));
    ASSERT_TRUE(mod.renameNode(Host::findNode("TAdder2"), "sum"));
    MStatus st;
    MObject made = mod.createNode("TSum", &st);
    ASSERT_TRUE(st);
    EXPECT_FALSE(Host::plug("TAdder2.a").isConnected()) << "nothing happens before doIt";
    ASSERT_TRUE(mod.doIt());
    EXPECT_TRUE(Host::plug("sum.a").isDestination());
    EXPECT_FALSE(made.isNull());
    ASSERT_TRUE(mod.undoIt());
    EXPECT_FALSE(Host::plug("TAdder2.a").isConnected());
    EXPECT_TRUE(made.isNull());
    MDGModifier dagRefused;
    dagRefused.createNode("transform", &st);
    EXPECT_FALSE(st) << "DAG nodes need a DAG modifier";
}

TEST_F(SceneTest, CompoundChildrenAreReadWrittenNamedAndConnectedAndBadConnectionsRefused) {
    Host::createNode("TDoubler", "first");
    Host::createNode("TDoubler", "second");
    MPlug in3 = Host::plug("first.in3");
    ASSERT_EQ(in3.numChildren(), 3u);
    EXPECT_EQ(in3.child(1).name(), "first.in31");
    EXPECT_EQ(in3.child(1).parent(), in3);
    ASSERT_TRUE(in3.child(1).setValue(4.0f));
    MPlug out3 = Host::plug("first.out3");
    EXPECT_EQ(out3.child(0).name(), "first.out3X");
    EXPECT_DOUBLE_EQ(out3.child(1).asDouble(), 8.0);
    MStatus st;
    out3.asDouble(&st);
    EXPECT_FALSE(st) << "a parent plug has no single number";
    ASSERT_TRUE(Host::connect("first.out3Y", "second.in30"));
    EXPECT_DOUBLE_EQ(Host::plug("second.out3X").asDouble(), 16.0);
    EXPECT_DOUBLE_EQ(Host::plug("second.out3Y").asDouble(), 2.0);
    Host::createNode("TDoubler", "third");
    ASSERT_TRUE(Host::connect("second.out3", "third.in3"));
    MPlugArray plugs;
    ASSERT_TRUE(MFnDependencyNode(Host::findNode("third")).getConnections(plugs));
    ASSERT_EQ(plugs.length(), 1u);
    EXPECT_EQ(plugs[0].name(), "third.in3");
    EXPECT_DOUBLE_EQ(Host::plug("third.out3X").asDouble(), 32.0) << "a compound pulls its children's sources";
    EXPECT_DOUBLE_EQ(Host::plug("third.out3Z").asDouble(), 4.0);
    EXPECT_FALSE(Host::connect("first.nothing", "second.in31"));
    EXPECT_FALSE(Host::connect("first.out3", "nobody.in3"));
    EXPECT_FALSE(Host::connect("first.out3", "second.in31")) << "a compound into a single number";
    Host::createNode("mesh", "meshShape");
    EXPECT_FALSE(Host::connect("meshShape.outMesh", "second.in31")) << "a mesh into a number";
    MFnNumericAttribute(TDoubler::in3).setConnectable(false);
    EXPECT_FALSE(Host::connect("second.out3", "first.in3"));
    MFnNumericAttribute(TDoubler::in3).setConnectable(true);
}

} // namespace
