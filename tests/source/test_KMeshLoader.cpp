// KMeshLoader end to end in the host stand-in: the plug-in is loaded, a loader is driven by
// time1.outTime and feeds a mesh shape, and the shape is read back frame by frame.
#include <kelno/KObjSequence.h>

#include <host/Host.h>

#include <maya/MDataBlock.h>
#include <maya/MFnAttribute.h>
#include <maya/MFnDependencyNode.h>
#include <maya/MFnMesh.h>
#include <maya/MFnTypedAttribute.h>
#include <maya/MFnUnitAttribute.h>
#include <maya/MIntArray.h>
#include <maya/MPointArray.h>

#include "support/KTestData.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace {

class KMeshLoaderTest : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        Host::resetSession();
        std::string error;
        testing::internal::CaptureStderr();
        MStatus st = Host::loadPlugin(KELNO_PLUGIN_PATH, &error);
        testing::internal::GetCapturedStderr();
        ASSERT_TRUE(st) << error;
        // One folder per process: CTest runs the cases of this suite in parallel processes.
        folder = testing::TempDir() + "kmeshloader_seq_" + std::to_string(getpid());
        ASSERT_EQ(mkdir(folder.c_str(), 0755), 0);
        // Frame k: a fan of k + 2 vertices on the line y = k, one polygon over all of them.
        for (int k = 1; k <= 3; ++k) {
            std::ofstream f(folder + "/seq_000" + std::to_string(k) + ".obj");
            f << "# frame " << k << "\no fan\n";
            for (int v = 0; v < k + 2; ++v)
                f << "v " << v << " " << k << " " << (v % 2) * 0.5 << "\n";
            f << "vt 0 0\nvn 0 0 1\nf";
            for (int v = 1; v <= k + 2; ++v)
                f << " " << v << "/1/1";
            f << "\n";
        }
    }
    static void TearDownTestSuite() {
        std::system(("rm -rf '" + folder + "'").c_str());
        Host::resetSession();
        Host::unloadPlugin("Kelno");
    }
    void SetUp() override {
        Host::resetSession();
        loader = Host::createNode("KMeshLoader");
        ASSERT_FALSE(loader.isNull());
        shape = Host::createNode("mesh", "playbackShape");
        ASSERT_TRUE(Host::connect("time1.outTime", "KMeshLoader1.time"));
        ASSERT_TRUE(Host::connect("KMeshLoader1.outMesh", "playbackShape.inMesh"));
    }

    void setPath(const std::string& path) {
        ASSERT_TRUE(Host::plug("KMeshLoader1.filePathName").setValue(MString(path.c_str())));
    }
    void setFrame(double frame) { Host::setCurrentTime(MTime(frame, MTime::uiUnit())); }
    int vertices() { return MFnMesh(shape).numVertices(); }
    int polygons() { return MFnMesh(shape).numPolygons(); }
    std::vector<std::string> errors() { return Host::messages(Host::MessageKind::Error); }

    static std::string folder;
    MObject loader;
    MObject shape;
};
std::string KMeshLoaderTest::folder;

TEST_F(KMeshLoaderTest, NodeIsNamedAndHasItsAttributesInOrder) {
    MFnDependencyNode fn(loader);
    EXPECT_EQ(fn.name(), "KMeshLoader1");
    EXPECT_EQ(fn.typeId().id(), 0x90003u);
    EXPECT_EQ(MFnDependencyNode(Host::createNode("KMeshLoader")).name(), "KMeshLoader2");

    const char* const names[] = {"time", "frameOffset", "outMesh", "filePathName"};
    ASSERT_EQ(fn.attributeCount(), 4u);
    for (unsigned int i = 0; i < 4; ++i) {
        MFnAttribute attr(fn.attribute(i));
        EXPECT_EQ(attr.name(), names[i]);
        EXPECT_EQ(attr.shortName(), names[i]);
    }
    EXPECT_TRUE(MFnAttribute(fn.attribute("time")).isHidden());
    EXPECT_EQ(MFnUnitAttribute(fn.attribute("time")).unitType(), MFnUnitAttribute::kTime);
    EXPECT_FALSE(MFnAttribute(fn.attribute("frameOffset")).isHidden());
    EXPECT_TRUE(MFnAttribute(fn.attribute("outMesh")).isHidden());
    EXPECT_EQ(MFnTypedAttribute(fn.attribute("outMesh")).attrType(), MFnData::kMesh);
    EXPECT_EQ(MFnTypedAttribute(fn.attribute("filePathName")).attrType(), MFnData::kString);
    EXPECT_EQ(fn.findPlug("frameOffset", true).asInt(), 0);
    EXPECT_EQ(fn.findPlug("filePathName", true).asString(), "");
    EXPECT_DOUBLE_EQ(fn.findPlug("time", true).asMTime().as(MTime::kFilm), 0.0);
}

TEST_F(KMeshLoaderTest, ComputesOnlyOutMesh) {
    MPxNode* user = MFnDependencyNode(loader).userNode();
    ASSERT_NE(user, nullptr);
    MDataBlock block = Host::dataBlock(loader);
    for (const char* attr : {"time", "frameOffset", "filePathName"})
        EXPECT_EQ(user->compute(Host::plug(std::string("KMeshLoader1.") + attr), block),
                  MS::kUnknownParameter)
            << attr;
    EXPECT_TRUE(Host::messages().empty()) << "no file is read for them";
    EXPECT_EQ(user->compute(Host::plug("KMeshLoader1.outMesh"), block), MS::kSuccess);
    EXPECT_EQ(errors(), std::vector<std::string>{"Failed to open the file: NULL"});
}

TEST_F(KMeshLoaderTest, PlaysTheSequenceFrameByFrame) {
    setPath(folder + "/seq_0001.obj");
    for (int frame : {1, 2, 3, 2, 1}) {
        setFrame(frame);
        EXPECT_EQ(vertices(), frame + 2) << "frame " << frame;
        EXPECT_EQ(polygons(), 1);
        MPointArray points;
        MFnMesh(shape).getPoints(points);
        ASSERT_EQ(points.length(), static_cast<unsigned int>(frame + 2));
        EXPECT_EQ(points[1], MPoint(1, frame, 0.5, 1.0));
        MIntArray counts, connects;
        MFnMesh(shape).getVertices(counts, connects);
        EXPECT_EQ(counts[0], frame + 2);
        EXPECT_EQ(connects[0], 0) << "1/1/1 reads as vertex 0";
        EXPECT_EQ(connects[frame + 1], frame + 1);
    }
    EXPECT_TRUE(errors().empty());
}

TEST_F(KMeshLoaderTest, FramesTruncateTowardZeroAndFollowTheUiUnit) {
    setPath(folder + "/seq_0001.obj");
    setFrame(2.9);
    EXPECT_EQ(vertices(), 4);
    Host::setCurrentTime(MTime(1.0 / 24.0 * 3.0, MTime::kSeconds)); // frame 3 at 24 fps
    EXPECT_EQ(vertices(), 5);
    MTime::setUIUnit(MTime::kPALFrame);
    Host::setCurrentTime(MTime(2.0, MTime::kPALFrame));
    EXPECT_EQ(vertices(), 4);
    MTime::setUIUnit(MTime::kFilm);

    setFrame(-0.5); // frame 0, which does not exist
    EXPECT_EQ(vertices(), 0);
    EXPECT_EQ(errors(), std::vector<std::string>{"Failed to open the file: " + folder + "/seq_0000.obj"});
}

TEST_F(KMeshLoaderTest, FrameOffsetShiftsTheFile) {
    setPath(folder + "/seq_0003.obj");
    setFrame(1);
    EXPECT_EQ(vertices(), 3);
    ASSERT_TRUE(Host::plug("KMeshLoader1.frameOffset").setValue(2));
    EXPECT_EQ(vertices(), 5) << "a new offset re-reads";
    ASSERT_TRUE(Host::plug("KMeshLoader1.frameOffset").setValue(-1));
    EXPECT_EQ(vertices(), 0);
    EXPECT_EQ(errors().back(), "Failed to open the file: " + folder + "/seq_0000.obj");
}

TEST_F(KMeshLoaderTest, MissingFileGivesTheMessageAndAnEmptyMesh) {
    setPath(folder + "/seq_0001.obj");
    setFrame(2);
    EXPECT_EQ(vertices(), 4);
    setFrame(7);
    EXPECT_EQ(vertices(), 0);
    EXPECT_EQ(polygons(), 0);
    EXPECT_EQ(errors(), std::vector<std::string>{"Failed to open the file: " + folder + "/seq_0007.obj"});
    MObject data = Host::plug("KMeshLoader1.outMesh").asMObject();
    EXPECT_TRUE(data.hasFn(MFn::kMeshData)) << "an empty mesh, not no mesh";
    EXPECT_EQ(MFnMesh(data).numVertices(), 0);
}

TEST_F(KMeshLoaderTest, PathsWithoutASequenceNumberReportTheRuleResult) {
    setFrame(1);
    EXPECT_EQ(vertices(), 0);
    EXPECT_EQ(errors(), std::vector<std::string>{"Failed to open the file: NULL"})
        << "the empty default path";
    Host::clearMessages();
    setPath(folder.substr(0, folder.rfind('/')) + "/mesh.obj");
    EXPECT_EQ(vertices(), 0);
    EXPECT_EQ(errors(), std::vector<std::string>{"Failed to open the file: NOT A SEQUENCE FILE"});
}

TEST_F(KMeshLoaderTest, RelativePathsAreRootedAndWidthCountsEveryDigit) {
    // "tmp/..." relative: the rule roots it at "/", so a relative name of a real file is found.
    setPath(folder.substr(1) + "/seq_0001.obj");
    setFrame(2);
    EXPECT_EQ(vertices(), 4);
    // shot1_0010.obj: five digits, so frame 2 is shot00002.obj.
    {
        std::ofstream f(folder + "/shot00002.obj");
        f << "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n";
    }
    setPath(folder + "/shot1_0010.obj");
    EXPECT_EQ(vertices(), 3);
    EXPECT_EQ(polygons(), 1);
}

TEST_F(KMeshLoaderTest, FaceOdditiesPassToTheMeshAsRead) {
    const std::string only = folder + "/points_0001.obj";
    std::ofstream(only) << "v 0 0 0\nv 1 0 0\nv 1 1 0\n";
    setPath(only);
    setFrame(1);
    EXPECT_EQ(vertices(), 3) << "vertices without faces make a mesh";
    EXPECT_EQ(polygons(), 0);

    // Two trailing blanks make a fourth index of -1, which the host refuses: an empty mesh.
    const std::string trailing = folder + "/trail_0001.obj";
    std::ofstream(trailing) << "v 0 0 0\nv 1 0 0\nv 1 1 0\nf 1 2 3  \n";
    setPath(trailing);
    EXPECT_EQ(vertices(), 0);
    EXPECT_TRUE(errors().empty()) << "the node reports nothing for a mesh the host refuses";

    // A tab after "f" skips the line; tabs between indices leave a single index.
    const std::string tabs = folder + "/tabs_0001.obj";
    std::ofstream(tabs) << "v 0 0 0\nv 1 0 0\nv 1 1 0\nf\t1 2 3\nf 1 2 3\n";
    setPath(tabs);
    EXPECT_EQ(polygons(), 1);
}

TEST_F(KMeshLoaderTest, PlaysTheRealFluidSequence) {
    KELNO_REQUIRE_DATA("real/obj_sequences/fluid_test/fluid_test_000001.obj");
    const std::string base = KelnoTest::dataPath("real/obj_sequences/fluid_test/fluid_test_000001.obj");
    setPath(base);
    int changes = 0, previous = -1;
    for (int frame = 1; frame <= 12; ++frame) {
        setFrame(frame);
        Kelno::KObjMesh expected;
        ASSERT_TRUE(Kelno::ReadObjFile(Kelno::ObjSequenceFileName(base, frame, 0), expected));
        ASSERT_EQ(vertices(), expected.points.length()) << "frame " << frame;
        ASSERT_EQ(polygons(), expected.polygonCounts.length()) << "frame " << frame;
        ASSERT_GT(vertices(), 0);
        MPoint last;
        MFnMesh(shape).getPoint(vertices() - 1, last);
        const Kelno::KObjPoint& p = expected.points.back();
        EXPECT_EQ(last, MPoint(p.x, p.y, p.z, 1.0));
        changes += previous != vertices();
        previous = vertices();
    }
    EXPECT_GT(changes, 1) << "the sequence's topology changes from frame to frame";
    EXPECT_TRUE(errors().empty());
}

} // namespace
