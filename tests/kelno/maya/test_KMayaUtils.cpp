// The host utility layer on the host stand-in: attribute helpers, lookups, utilities, the
// templates and the status check.
#include <kelno/maya/KMayaUtils.h>

#include <host/Host.h>

#include <maya/MAnimControl.h>
#include <maya/MFnDependencyNode.h>
#include <maya/MPxNode.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>

namespace {

// A node whose attributes are all built with the helpers.
class THelpersNode : public MPxNode {
  public:
    static MObject flag, count, weight, scale, offset2, offset3, tint3, colour, mode, label, ids, mesh, xform,
        when, duplicate;
    static void* creator() { return new THelpersNode; }
    static MStatus initialize() {
        MFnNumericAttribute n;
        MFnEnumAttribute e;
        MFnTypedAttribute t;
        MFnMatrixAttribute m;
        MFnUnitAttribute u;
        Kelno::CreateBoolAttr(n, flag, "flag", "flag", true);
        Kelno::CreateIntAttr(n, count, "count", "count", 7);
        Kelno::CreateFloatAttr(n, weight, "weight", "weight", 0.25f);
        Kelno::CreateDoubleAttr(n, scale, "scale", "scale", 2.5);
        n.setMin(0.0);
        Kelno::CreateD2Attr(n, offset2, "offset2", "offset2", 1.5);
        Kelno::CreateD3Attr(n, offset3, "offset3", "offset3", -1.0);
        Kelno::CreateF3Attr(n, tint3, "tint3", "tint3", 0.5f);
        Kelno::CreateColorAttr(n, colour, "colour", "colour");
        n.setDefault(0.1f, 0.2f, 0.3f);
        Kelno::CreateEnumAttr(e, mode, "mode", "mode", 1);
        e.addField("box", 0);
        e.addField("surface", 1);
        Kelno::CreateStringAttr(t, label, "label", "label", "");
        Kelno::CreateIArrayAttr(t, ids, "ids", "ids");
        Kelno::CreateMeshAttr(t, mesh, "mesh", "mesh");
        t.setHidden(true);
        Kelno::CreateMatrixAttr(m, xform, "xform", "xform");
        Kelno::CreateTimeAttr(u, when, "when", "when", 12.0);
        Kelno::CreateIntAttr(n, duplicate, "count", "count", 0);
        for (MObject* attr : {&flag, &count, &weight, &scale, &offset2, &offset3, &tint3, &colour, &mode,
                              &label, &ids, &mesh, &xform, &when})
            addAttribute(*attr);
        return MS::kSuccess;
    }
};
MObject THelpersNode::flag, THelpersNode::count, THelpersNode::weight, THelpersNode::scale,
    THelpersNode::offset2, THelpersNode::offset3, THelpersNode::tint3, THelpersNode::colour,
    THelpersNode::mode, THelpersNode::label, THelpersNode::ids, THelpersNode::mesh, THelpersNode::xform,
    THelpersNode::when, THelpersNode::duplicate;

class KMayaUtilsTest : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        ASSERT_TRUE(Host::registerNodeType("THelpersNode", 0x7100, &THelpersNode::creator,
                                           &THelpersNode::initialize));
    }
    void SetUp() override {
        Host::resetSession();
        node = Host::createNode("THelpersNode", "helpers");
        ASSERT_FALSE(node.isNull());
    }
    MObject node;
};

TEST_F(KMayaUtilsTest, AttributeHelpersCreateTheKindsAndDefaultsThatGetAttr3Reads) {
    MFnDependencyNode fn(node);
    const struct {
        MObject* attribute;
        MFnNumericData::Type type;
    } numeric[] = {{&THelpersNode::flag, MFnNumericData::kBoolean},
                   {&THelpersNode::count, MFnNumericData::kInt},
                   {&THelpersNode::weight, MFnNumericData::kFloat},
                   {&THelpersNode::offset2, MFnNumericData::k2Double},
                   {&THelpersNode::tint3, MFnNumericData::k3Float}};
    for (const auto& n : numeric)
        EXPECT_EQ(MFnNumericAttribute(*n.attribute).unitType(), n.type) << MFnAttribute(*n.attribute).name();
    EXPECT_TRUE(fn.findPlug("flag", true).asBool());
    EXPECT_EQ(fn.findPlug("count", true).asInt(), 7);
    EXPECT_FLOAT_EQ(fn.findPlug("weight", true).asFloat(), 0.25f);
    EXPECT_DOUBLE_EQ(fn.findPlug("scale", true).asDouble(), 2.5);
    EXPECT_TRUE(MFnNumericAttribute(THelpersNode::scale).hasMin()) << "flags set after the helper stick";
    // Every child of a compound gets the default.
    MPlug offset2 = fn.findPlug("offset2", true), offset3 = fn.findPlug("offset3", true);
    ASSERT_EQ(offset2.numChildren(), 2u);
    ASSERT_EQ(offset3.numChildren(), 3u);
    EXPECT_DOUBLE_EQ(offset2.child(1).asDouble(), 1.5);
    EXPECT_DOUBLE_EQ(offset3.child(2).asDouble(), -1.0);
    EXPECT_FLOAT_EQ(fn.findPlug("tint3", true).child(2).asFloat(), 0.5f);
    EXPECT_TRUE(MFnNumericAttribute(THelpersNode::colour).isUsedAsColor());
    EXPECT_EQ(fn.findPlug("mode", true).asShort(), 1);
    EXPECT_EQ(MFnEnumAttribute(THelpersNode::mode).fieldName(1), "surface");
    EXPECT_EQ(MFnTypedAttribute(THelpersNode::label).attrType(), MFnData::kString);
    EXPECT_EQ(MFnTypedAttribute(THelpersNode::ids).attrType(), MFnData::kIntArray);
    EXPECT_EQ(MFnTypedAttribute(THelpersNode::mesh).attrType(), MFnData::kMesh);
    EXPECT_TRUE(MFnTypedAttribute(THelpersNode::mesh).isHidden());
    EXPECT_TRUE(THelpersNode::xform.hasFn(MFn::kMatrixAttribute));
    EXPECT_EQ(MFnUnitAttribute(THelpersNode::when).unitType(), MFnUnitAttribute::kTime);
    EXPECT_DOUBLE_EQ(fn.findPlug("when", true).asMTime().as(MTime::kFilm), 12.0);
    // KGetAttr3 reads the three children of the colour (its default) and leaves alpha alone.
    Kelno::KColor colour(9.0f, 9.0f, 9.0f, 0.5f);
    EXPECT_TRUE(Kelno::KGetAttr3(node, THelpersNode::colour, colour));
    EXPECT_EQ(colour, Kelno::KColor(0.1f, 0.2f, 0.3f, 0.5f));
    EXPECT_TRUE(Host::messages().empty());
    // A plug without children: each of the three reads fails and is reported.
    Kelno::KColor untouched(1.0f, 2.0f, 3.0f);
    EXPECT_FALSE(Kelno::KGetAttr3(node, THelpersNode::count, untouched));
    EXPECT_EQ(Host::messages(Host::MessageKind::Error),
              std::vector<std::string>(3, "Error@KGetAttr3(): Failed to get value of the plug."));
    EXPECT_EQ(untouched, Kelno::KColor(1.0f, 2.0f, 3.0f));
}

TEST_F(KMayaUtilsTest, StatusCheckReportsTheApiErrorAndCarriesOn) {
    // Adding an attribute outside initialize fails, as a duplicate name does inside it.
    testing::internal::CaptureStderr();
    KELNO_CHECK_MSTATUS(MPxNode::addAttribute(THelpersNode::duplicate));
    const int line = __LINE__ - 1;
    KELNO_CHECK_MSTATUS(MStatus(MS::kSuccess)); // silent
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              std::string("\nAPI error detected in ") + __FILE__ + " at line " + std::to_string(line) + "\n" +
                  MStatus(MS::kFailure).errorString().asChar() + "\n");
}

TEST_F(KMayaUtilsTest, LookupsByNameAndConnectionsOnTheSideAskedFor) {
    MObject xform = Host::createNode("transform", "rock");
    MObject shape = Host::createNode("mesh", "rockShape", xform);
    EXPECT_EQ(Kelno::NodeNameToMObject("helpers"), node);
    EXPECT_TRUE(Kelno::NodeNameToMObject("nothing").isNull());
    EXPECT_EQ(Kelno::MObjectToNodeName(node), "helpers");
    EXPECT_EQ(Kelno::MObjectToNodeName(MObject()), "");
    MDagPath path = Kelno::NodeNameToDagPath("rockShape");
    ASSERT_TRUE(path.isValid());
    EXPECT_EQ(path.fullPathName(), "|rock|rockShape");
    EXPECT_EQ(Kelno::DagPathToMObject(path), shape);
    EXPECT_EQ(Kelno::NodeNameToDagPath("|rock").node(), xform);
    EXPECT_FALSE(Kelno::NodeNameToDagPath("helpers").isValid()) << "a dependency node has no DAG path";
    EXPECT_FALSE(Kelno::NodeNameToDagPath("nothing").isValid());
    MPlug plug;
    ASSERT_TRUE(Kelno::GetPlugByName("time1", "outTime", plug));
    EXPECT_EQ(plug.name(), "time1.outTime");
    EXPECT_FALSE(Kelno::GetPlugByName("time1", "noSuchAttr", plug));
    EXPECT_TRUE(plug.isNull());
    EXPECT_FALSE(Kelno::GetPlugByName("noSuchNode", "outTime", plug));
    Host::createNode("THelpersNode", "source");
    ASSERT_TRUE(Host::connect("source.label", "helpers.label"));
    ASSERT_TRUE(Host::connect("helpers.count", "source.count"));
    MObjectArray nodes;
    MPlugArray plugs;
    ASSERT_TRUE(Kelno::GetConnections(node, "label", 0, false, true, nodes, plugs));
    ASSERT_EQ(nodes.length(), 1u);
    EXPECT_EQ(Kelno::MObjectToNodeName(nodes[0]), "source");
    EXPECT_EQ(plugs[0].name(), "source.label");
    ASSERT_TRUE(Kelno::GetConnections(node, "label", 0, true, false, nodes, plugs));
    EXPECT_EQ(nodes.length(), 0u) << "label has no outgoing connection";
    ASSERT_TRUE(Kelno::GetConnections(node, "count", 0, true, false, nodes, plugs));
    ASSERT_EQ(plugs.length(), 1u);
    EXPECT_EQ(plugs[0].name(), "source.count");
    EXPECT_FALSE(Kelno::GetConnections(node, "noSuchAttr", 0, true, true, nodes, plugs));
}

TEST(KMayaUtilsFree, PaddingFilesTimeAndPrint) {
    EXPECT_EQ(Kelno::MakePadding(12, 4), "0012"); // the name rule's padding, tested there
    const std::string path = testing::TempDir() + "kmayautils_exists.txt";
    std::ofstream(path) << "x";
    EXPECT_TRUE(Kelno::KFileExist(path.c_str()));
    std::remove(path.c_str());
    EXPECT_FALSE(Kelno::KFileExist(path.c_str()));
    EXPECT_FALSE(Kelno::KFileExist(nullptr));
    Host::resetSession();
    MAnimControl::setCurrentTime(MTime(37.0, MTime::kFilm));
    MTime::setUIUnit(MTime::kNTSCFrame);
    EXPECT_FLOAT_EQ(Kelno::KCurrentTime(), 37.0f * 30.0f / 24.0f) << "frames of the UI unit";
    MTime::setUIUnit(MTime::kFilm);
    Kelno::mPrint(MString("3 vertices selected"));
    ASSERT_EQ(Host::messages().size(), 1u);
    EXPECT_EQ(Host::messages()[0].kind, Host::MessageKind::Info);
    EXPECT_EQ(Host::messages()[0].text, "3 vertices selected");
}

} // namespace
