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
#include <maya/MFnMatrixAttribute.h>
#include <maya/MFnMesh.h>
#include <maya/MFnMeshData.h>
#include <maya/MFnNumericAttribute.h>
#include <maya/MFnTypedAttribute.h>
#include <maya/MFnUnitAttribute.h>
#include <maya/MGlobal.h>
#include <maya/MIntArray.h>
#include <maya/MPlug.h>
#include <maya/MPlugArray.h>
#include <maya/MPointArray.h>
#include <maya/MPxNode.h>
#include <maya/MThreadUtils.h>

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
        attributeAffects(a, out);
        attributeAffects(b, out);
        attributeAffects(time, out);
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

class SceneTest : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        ASSERT_TRUE(Host::registerNodeType("TAdder", 0x7000, &TAdder::creator, &TAdder::initialize));
        ASSERT_TRUE(Host::registerNodeType("TSum", 0x7001, &TSum::creator, &TSum::initialize));
    }
    void SetUp() override {
        Host::resetSession();
        TAdder::computes = 0;
        TAdder::cleans = true;
    }
};

TEST_F(SceneTest, AttributeFlagsAreRecorded) {
    MFnNumericAttribute a(TAdder::a);
    EXPECT_TRUE(a.isKeyable());
    EXPECT_TRUE(a.isStorable());
    EXPECT_TRUE(a.isReadable());
    EXPECT_FALSE(a.isHidden());
    double v = 0;
    EXPECT_TRUE(a.hasMin());
    a.getMin(v);
    EXPECT_EQ(v, -10.0);
    EXPECT_FALSE(a.hasMax());
    EXPECT_TRUE(a.hasSoftMax());
    EXPECT_TRUE(a.getDefault(v));
    EXPECT_EQ(v, 1.5);
    EXPECT_FALSE(MFnNumericAttribute(TAdder::b).isStorable());
    EXPECT_FALSE(MFnNumericAttribute(TAdder::out).isWritable());
    EXPECT_TRUE(MFnUnitAttribute(TAdder::time).isHidden());
    EXPECT_EQ(MFnUnitAttribute(TAdder::time).unitType(), MFnUnitAttribute::kTime);

    MFnNumericAttribute colour(TAdder::colour);
    EXPECT_TRUE(colour.isUsedAsColor());
    EXPECT_EQ(colour.unitType(), MFnNumericData::k3Float);
    EXPECT_EQ(MFnAttribute(colour.child(2)).name(), "colourB");

    MFnEnumAttribute mode(TAdder::mode);
    EXPECT_EQ(mode.fieldName(1), "on");
    EXPECT_EQ(mode.fieldIndex("off"), 0);

    // An attribute set attached to the wrong kind of object does not attach.
    MStatus st;
    MFnEnumAttribute wrong(TAdder::a, &st);
    EXPECT_EQ(st, MS::kInvalidParameter);
}

TEST_F(SceneTest, AddAttributeOutsideInitializeOrTwiceFails) {
    MFnNumericAttribute num;
    MObject loose = num.create("loose", "loose", MFnNumericData::kInt);
    EXPECT_FALSE(MPxNode::addAttribute(loose));
    EXPECT_FALSE(MPxNode::attributeAffects(TAdder::a, TAdder::out));
}

TEST_F(SceneTest, UserNodesAreRenamedByPostConstructor) {
    MObject n1 = Host::createNode("TAdder");
    MObject n2 = Host::createNode("TAdder");
    EXPECT_EQ(MFnDependencyNode(n1).name(), "TAdder1");
    EXPECT_EQ(MFnDependencyNode(n2).name(), "TAdder2");
    EXPECT_EQ(MFnDependencyNode(n1).typeName(), "TAdder");
    EXPECT_EQ(MFnDependencyNode(n1).typeId().id(), 0x7000u);
    EXPECT_TRUE(n1.hasFn(MFn::kDependencyNode));
    EXPECT_FALSE(n1.hasFn(MFn::kDagNode));
    ASSERT_NE(MFnDependencyNode(n1).userNode(), nullptr);
    EXPECT_EQ(MFnDependencyNode(n1).userNode()->thisMObject(), n1);

    // A freed number is reused; a plain taken name is renumbered.
    Host::deleteNode(n1);
    EXPECT_TRUE(n1.isNull());
    EXPECT_EQ(MFnDependencyNode(Host::createNode("TAdder")).name(), "TAdder1");
    MObject t = Host::createNode("transform", "TAdder2");
    EXPECT_EQ(MFnDependencyNode(t).name(), "TAdder3");
}

TEST_F(SceneTest, PullEvaluationComputesOnlyWhenDirty) {
    MObject n = Host::createNode("TAdder");
    MPlug out = Host::plug("TAdder1.out");
    ASSERT_FALSE(out.isNull());
    EXPECT_DOUBLE_EQ(out.asDouble(), 3.5);
    EXPECT_EQ(TAdder::computes, 1);
    EXPECT_DOUBLE_EQ(out.asDouble(), 3.5);
    EXPECT_EQ(TAdder::computes, 1) << "a clean output is not computed again";

    Host::plug("TAdder1.b").setValue(10);
    EXPECT_EQ(TAdder::computes, 1) << "setting an input only dirties";
    EXPECT_DOUBLE_EQ(out.asDouble(), 11.5);
    EXPECT_EQ(TAdder::computes, 2);
    EXPECT_EQ(Host::plug("TAdder1.b").asInt(), 10);
    (void)n;

    // A compute that does not clean its plug leaves it dirty: the next request computes again.
    TAdder::cleans = false;
    Host::plug("TAdder1.b").setValue(1);
    EXPECT_DOUBLE_EQ(out.asDouble(), 2.5);
    EXPECT_DOUBLE_EQ(out.asDouble(), 2.5);
    EXPECT_EQ(TAdder::computes, 4);
}

TEST_F(SceneTest, ConnectionsPullUpstreamAndPropagateDirt) {
    Host::createNode("TAdder");
    Host::createNode("TAdder");
    ASSERT_TRUE(Host::connect("TAdder1.out", "TAdder2.a"));
    EXPECT_FALSE(Host::connect("TAdder1.out", "TAdder2.a")) << "one incoming connection per plug";
    MPlug out2 = Host::plug("TAdder2.out");
    EXPECT_DOUBLE_EQ(out2.asDouble(), 3.5 + 2.0);
    EXPECT_EQ(TAdder::computes, 2);

    Host::plug("TAdder1.a").setValue(4.0);
    EXPECT_DOUBLE_EQ(out2.asDouble(), 6.0 + 2.0);
    EXPECT_EQ(TAdder::computes, 4);

    MPlugArray sources;
    EXPECT_TRUE(Host::plug("TAdder2.a").connectedTo(sources, true, false));
    ASSERT_EQ(sources.length(), 1u);
    EXPECT_EQ(sources[0].name(), "TAdder1.out");

    ASSERT_TRUE(Host::disconnect("TAdder1.out", "TAdder2.a"));
    Host::plug("TAdder1.a").setValue(100.0);
    EXPECT_DOUBLE_EQ(out2.asDouble(), 6.0 + 2.0) << "a disconnected input keeps its last value";
}

TEST_F(SceneTest, ArrayElementsAreConnectedSetAndVisitedByLogicalIndex) {
    Host::createNode("TAdder");
    Host::createNode("TSum");
    ASSERT_TRUE(Host::connect("TAdder1.out", "tSum1.inputs[3]"));
    ASSERT_TRUE(Host::plug("tSum1.inputs[1]").setValue(10.0));
    MPlug total = Host::plug("tSum1.total");
    EXPECT_DOUBLE_EQ(total.asDouble(), 13.5);
    EXPECT_EQ(TSum::lastIndices, (std::vector<unsigned int>{1, 3}));
    EXPECT_EQ(Host::plug("tSum1.inputs").numElements(), 2u);

    Host::plug("TAdder1.b").setValue(0);
    EXPECT_DOUBLE_EQ(total.asDouble(), 11.5) << "an upstream change reaches the element";
    EXPECT_TRUE(Host::plug("tSum1.inputs[3]").isDestination());
    EXPECT_FALSE(Host::plug("tSum1.inputs[1]").isDestination());
}

TEST_F(SceneTest, TimeDrivesConnectedNodes) {
    Host::createNode("TAdder");
    ASSERT_TRUE(Host::connect("time1.outTime", "TAdder1.time"));
    MPlug out = Host::plug("TAdder1.out");
    EXPECT_DOUBLE_EQ(out.asDouble(), 3.5);
    Host::setCurrentTime(MTime(12.0, MTime::kFilm));
    EXPECT_DOUBLE_EQ(out.asDouble(), 15.5);
    Host::setCurrentTime(MTime(1.0, MTime::kSeconds));
    EXPECT_DOUBLE_EQ(out.asDouble(), 27.5);
    EXPECT_DOUBLE_EQ(Host::currentTime().as(MTime::kFilm), 24.0);
    EXPECT_EQ(TAdder::computes, 3);
}

TEST_F(SceneTest, DagPathsOfTransformsAndShapes) {
    MObject group = Host::createNode("transform", "group");
    MObject xform = Host::createNode("transform", "body", group);
    MObject shape = Host::createNode("mesh", "bodyShape", xform);
    MFnDagNode fn(shape);
    EXPECT_EQ(fn.fullPathName(), "|group|body|bodyShape");
    EXPECT_EQ(fn.parent(0), xform);
    EXPECT_EQ(MFnDagNode(group).childCount(), 1u);

    MDagPath path;
    ASSERT_TRUE(MDagPath::getAPathTo(xform, path));
    EXPECT_EQ(path.length(), 2u);
    ASSERT_TRUE(path.extendToShape());
    EXPECT_EQ(path.node(), shape);
    EXPECT_EQ(path.transform(), xform);

    // A shape made without a parent gets a transform of its own.
    MObject lone = Host::createNode("mesh", "rockShape");
    EXPECT_EQ(MFnDagNode(lone).fullPathName(), "|rock|rockShape");

    MStatus st;
    MFnDagNode notDag(Host::findNode("time1"), &st);
    EXPECT_EQ(st, MS::kInvalidParameter);
    EXPECT_TRUE(notDag.object().isNull());
}

TEST_F(SceneTest, MeshDataRoundTripsThroughAShape) {
    MPointArray points;
    points.append(0, 0, 0);
    points.append(1, 0, 0);
    points.append(1, 1, 0);
    points.append(0, 1, 0);
    int counts[] = {4};
    int connects[] = {0, 1, 2, 3};
    MObject data = MFnMeshData().create();
    MFnMesh fn;
    MStatus st;
    MObject made = fn.create(4, 1, points, MIntArray(counts, 1), MIntArray(connects, 4), data, &st);
    ASSERT_TRUE(st);
    EXPECT_EQ(made, data);

    MObject shape = Host::createNode("mesh", "quadShape");
    ASSERT_TRUE(Host::plug("quadShape.inMesh").setValue(data));
    MFnMesh read(shape);
    EXPECT_EQ(read.numVertices(), 4);
    EXPECT_EQ(read.numPolygons(), 1);
    EXPECT_EQ(read.numEdges(), 4);
    MIntArray vc, vl;
    read.getVertices(vc, vl);
    EXPECT_EQ(vl[3], 3);
    MPoint p;
    read.getPoint(2, p);
    EXPECT_EQ(p, MPoint(1, 1, 0));
}

TEST_F(SceneTest, InvalidMeshIsRefusedAndLeavesTheDataEmpty) {
    MPointArray points;
    points.append(0, 0, 0);
    points.append(1, 0, 0);
    points.append(1, 1, 0);
    MObject data = MFnMeshData().create();
    MStatus st;
    int counts[] = {3};
    int outOfRange[] = {0, 1, 3};
    MFnMesh().create(3, 1, points, MIntArray(counts, 1), MIntArray(outOfRange, 3), data, &st);
    EXPECT_EQ(st, MS::kInvalidParameter);
    EXPECT_EQ(MFnMesh(data).numVertices(), 0);
    int negative[] = {0, 1, -1};
    MFnMesh().create(3, 1, points, MIntArray(counts, 1), MIntArray(negative, 3), data, &st);
    EXPECT_FALSE(st);
    int two[] = {2};
    MFnMesh().create(3, 1, points, MIntArray(two, 1), MIntArray(negative, 2), data, &st);
    EXPECT_FALSE(st) << "a polygon needs three vertices";
    // Vertices without faces are a valid mesh.
    MFnMesh().create(3, 0, points, MIntArray(), MIntArray(), data, &st);
    EXPECT_TRUE(st);
    EXPECT_EQ(MFnMesh(data).numVertices(), 3);
}

TEST_F(SceneTest, ModifierConnectsRenamesAndUndoes) {
    Host::createNode("TAdder");
    Host::createNode("TAdder");
    MDGModifier mod;
    ASSERT_TRUE(mod.connect(Host::plug("TAdder1.out"), Host::plug("TAdder2.a")));
    ASSERT_TRUE(mod.renameNode(Host::findNode("TAdder2"), "sum"));
    mod.commandToExecute("select -r sum");
    EXPECT_FALSE(Host::plug("TAdder2.a").isConnected()) << "nothing happens before doIt";
    ASSERT_TRUE(mod.doIt());
    EXPECT_TRUE(Host::plug("sum.a").isDestination());
    ASSERT_EQ(Host::executedCommands().size(), 1u);
    EXPECT_EQ(Host::executedCommands()[0], "select -r sum");
    ASSERT_TRUE(mod.undoIt());
    EXPECT_FALSE(Host::plug("TAdder2.a").isConnected());
}

TEST_F(SceneTest, MessagesAndStateAreCaptured) {
    MGlobal::displayError("Error@X: bad");
    MGlobal::displayInfo("hello");
    ASSERT_EQ(Host::messages().size(), 2u);
    EXPECT_EQ(Host::messages(Host::MessageKind::Error), std::vector<std::string>{"Error@X: bad"});
    Host::setMayaState(MGlobal::kBatch);
    EXPECT_EQ(MGlobal::mayaState(), MGlobal::kBatch);
    Host::setNumThreads(3);
    EXPECT_EQ(MThreadUtils::getNumThreads(), 3);
    Host::resetSession();
    EXPECT_TRUE(Host::messages().empty());
    EXPECT_EQ(MGlobal::mayaState(), MGlobal::kInteractive);
}

} // namespace

namespace {

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

class SceneMoreTest : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        ASSERT_TRUE(Host::registerNodeType("TDoubler", 0x7002, &TDoubler::creator, &TDoubler::initialize));
    }
    void SetUp() override { Host::resetSession(); }
};

TEST_F(SceneMoreTest, CompoundChildrenAreReadWrittenAndNamed) {
    Host::createNode("TDoubler", "dbl");
    MPlug in3 = Host::plug("dbl.in3");
    ASSERT_EQ(in3.numChildren(), 3u);
    EXPECT_EQ(in3.child(1).name(), "dbl.in31");
    EXPECT_EQ(in3.child(1).parent(), in3);
    ASSERT_TRUE(in3.child(1).setValue(4.0f));
    MPlug out3 = Host::plug("dbl.out3");
    EXPECT_EQ(out3.child(0).name(), "dbl.out3X");
    EXPECT_DOUBLE_EQ(out3.child(0).asDouble(), 2.0);
    EXPECT_DOUBLE_EQ(out3.child(1).asDouble(), 8.0);
    EXPECT_DOUBLE_EQ(Host::plug("dbl.out3Z").asDouble(), 2.0);
    // A parent plug has no single number.
    MStatus st;
    out3.asDouble(&st);
    EXPECT_FALSE(st);
}

TEST_F(SceneMoreTest, ChildToChildConnectionsCarryOneComponent) {
    Host::createNode("TDoubler", "first");
    Host::createNode("TDoubler", "second");
    ASSERT_TRUE(Host::connect("first.out3Y", "second.in30"));
    Host::plug("first.in31").setValue(5.0f);
    EXPECT_DOUBLE_EQ(Host::plug("second.out3X").asDouble(), 20.0);
    EXPECT_DOUBLE_EQ(Host::plug("second.out3Y").asDouble(), 2.0);
}

TEST_F(SceneMoreTest, WorldSpacePointsFollowTheTransforms) {
    MPointArray points;
    points.append(1, 0, 0);
    points.append(0, 1, 0);
    points.append(0, 0, 1);
    int counts[] = {3};
    int connects[] = {0, 1, 2};
    MFnMesh fn;
    MStatus st;
    MObject transform =
        fn.create(3, 1, points, MIntArray(counts, 1), MIntArray(connects, 3), MObject::kNullObj, &st);
    ASSERT_TRUE(st);
    EXPECT_TRUE(transform.hasFn(MFn::kTransform)) << "without an owner the mesh gets a shape and a transform";
    MFnDagNode xf(transform);
    ASSERT_EQ(xf.childCount(), 1u);
    MObject shape = xf.child(0);
    EXPECT_TRUE(shape.hasFn(MFn::kMesh));

    const std::string name = MFnDependencyNode(transform).name().asChar();
    Host::plug(name + ".translateX").setValue(10.0);
    Host::plug(name + ".scaleY").setValue(3.0);
    MDagPath path;
    MDagPath::getAPathTo(shape, path);
    MPoint world;
    ASSERT_TRUE(MFnMesh(path).getPoint(1, world, MSpace::kWorld));
    EXPECT_TRUE(world.isEquivalent(MPoint(10, 3, 0))) << world;
    MPoint local;
    MFnMesh(path).getPoint(1, local);
    EXPECT_EQ(local, MPoint(0, 1, 0));
}

TEST_F(SceneMoreTest, ReparentingChangesPathsAndDeletionTakesChildren) {
    MObject a = Host::createNode("transform", "a");
    MObject b = Host::createNode("transform", "b");
    MObject shape = Host::createNode("mesh", "leafShape", a);
    MFnDagNode fb(b);
    ASSERT_TRUE(fb.addChild(shape));
    EXPECT_EQ(MFnDagNode(shape).fullPathName(), "|b|leafShape");
    EXPECT_EQ(MFnDagNode(a).childCount(), 0u);
    EXPECT_FALSE(MFnDagNode(shape).addChild(a)) << "a shape has no children";
    ASSERT_TRUE(Host::deleteNode(b));
    EXPECT_TRUE(shape.isNull());
    EXPECT_TRUE(Host::findNode("leafShape").isNull());
    EXPECT_FALSE(Host::deleteNode(Host::findNode("time1"))) << "time1 stays";
}

TEST_F(SceneMoreTest, ModifierCreatedNodesGoOnUndo) {
    MDGModifier mod;
    MStatus st;
    MObject node = mod.createNode("TDoubler", &st);
    ASSERT_TRUE(st);
    ASSERT_TRUE(mod.doIt());
    EXPECT_FALSE(node.isNull());
    ASSERT_TRUE(mod.undoIt());
    EXPECT_TRUE(node.isNull());
    EXPECT_TRUE(Host::nodesOfType("TDoubler").empty());
    MDGModifier dagRefused;
    dagRefused.createNode("transform", &st);
    EXPECT_FALSE(st) << "DAG nodes need a DAG modifier";
}

TEST_F(SceneMoreTest, ConnectionsOfANodeAndRefusedConnections) {
    Host::createNode("TDoubler", "p");
    Host::createNode("TDoubler", "q");
    ASSERT_TRUE(Host::connect("p.out3", "q.in3"));
    MPlugArray plugs;
    ASSERT_TRUE(MFnDependencyNode(Host::findNode("q")).getConnections(plugs));
    ASSERT_EQ(plugs.length(), 1u);
    EXPECT_EQ(plugs[0].name(), "q.in3");
    EXPECT_FALSE(Host::connect("p.nothing", "q.in3"));
    EXPECT_FALSE(Host::connect("p.out3", "nobody.in3"));
    EXPECT_FALSE(Host::connect("p.out3", "q.in30")) << "a compound into a single number";
    Host::createNode("mesh", "meshShape");
    EXPECT_FALSE(Host::connect("meshShape.outMesh", "q.in30")) << "a mesh into a number";
    MFnNumericAttribute(TDoubler::in3).setConnectable(false);
    EXPECT_FALSE(Host::connect("q.out3", "p.in3"));
    MFnNumericAttribute(TDoubler::in3).setConnectable(true);
}

} // namespace
