// KMeshLoader in the host stand-in, driven by time1.outTime and feeding a mesh shape that is
// read back frame by frame.
#include "support/KPluginFixture.h"

#include <host/Host.h>

#include <maya/MDataBlock.h>
#include <maya/MFnAttribute.h>
#include <maya/MFnDependencyNode.h>
#include <maya/MFnMesh.h>
#include <maya/MFnTypedAttribute.h>
#include <maya/MFnUnitAttribute.h>
#include <maya/MIntArray.h>
#include <maya/MPlug.h>
#include <maya/MPoint.h>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace {

class KMeshLoaderTest : public KelnoTest::PluginTest {
  protected:
    static void SetUpTestSuite() {
        PluginTest::SetUpTestSuite();
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
        PluginTest::TearDownTestSuite();
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
    std::vector<std::string> errors() { return Host::messages(Host::MessageKind::Error); }

    static std::string folder;
    MObject loader;
    MObject shape;
};
std::string KMeshLoaderTest::folder;

TEST_F(KMeshLoaderTest, NodeIsNamedAndHasItsAttributesInOrder) {
    MFnDependencyNode fn(loader);
    EXPECT_EQ(fn.name(), "KMeshLoader1");
    EXPECT_EQ(MFnDependencyNode(Host::createNode("KMeshLoader")).name(), "KMeshLoader2");
    const char* const names[] = {"time", "frameOffset", "outMesh", "filePathName"};
    ASSERT_EQ(fn.attributeCount(), 4u);
    for (unsigned int i = 0; i < 4; ++i) {
        EXPECT_EQ(MFnAttribute(fn.attribute(i)).name(), names[i]);
        EXPECT_EQ(MFnAttribute(fn.attribute(i)).shortName(), names[i]);
    }
    EXPECT_TRUE(MFnAttribute(fn.attribute("time")).isHidden());
    EXPECT_EQ(MFnUnitAttribute(fn.attribute("time")).unitType(), MFnUnitAttribute::kTime);
    EXPECT_FALSE(MFnAttribute(fn.attribute("frameOffset")).isHidden());
    EXPECT_TRUE(MFnAttribute(fn.attribute("outMesh")).isHidden());
    EXPECT_EQ(MFnTypedAttribute(fn.attribute("outMesh")).attrType(), MFnData::kMesh);
    EXPECT_EQ(MFnTypedAttribute(fn.attribute("filePathName")).attrType(), MFnData::kString);
}

TEST_F(KMeshLoaderTest, ComputesOnlyOutMeshAndCleansIt) {
    MPxNode* user = MFnDependencyNode(loader).userNode();
    ASSERT_NE(user, nullptr);
    MDataBlock block = Host::dataBlock(loader);
    for (const char* attr : {"time", "frameOffset", "filePathName"})
        EXPECT_EQ(user->compute(Host::plug(std::string("KMeshLoader1.") + attr), block),
                  MS::kUnknownParameter)
            << attr;
    EXPECT_TRUE(Host::messages().empty()) << "no file is read for them";
    // A plug left dirty would be computed (and the file read) on every request, and a later
    // time change would not reach the shape.
    MPlug out = Host::plug("KMeshLoader1.outMesh");
    out.asMObject();
    out.asMObject();
    EXPECT_EQ(errors(), std::vector<std::string>{"Failed to open the file: NULL"});
    EXPECT_TRUE(block.isClean(out));
}

TEST_F(KMeshLoaderTest, PlaysTheSequenceFrameByFrame) {
    setPath(folder + "/seq_0001.obj");
    for (int frame : {1, 2, 3, 2, 1}) {
        setFrame(frame);
        EXPECT_EQ(vertices(), frame + 2) << "frame " << frame;
        MPoint second;
        MFnMesh(shape).getPoint(1, second);
        EXPECT_EQ(second, MPoint(1, frame, 0.5, 1.0));
        MIntArray counts, connects;
        MFnMesh(shape).getVertices(counts, connects);
        ASSERT_EQ(counts.length(), 1u);
        EXPECT_EQ(counts[0], frame + 2);
        EXPECT_EQ(connects[0], 0) << "1/1/1 reads as vertex 0";
    }
    EXPECT_TRUE(errors().empty());
}

TEST_F(KMeshLoaderTest, TimeUnitsOffsetsAndMissingFiles) {
    setPath(folder + "/seq_0001.obj");
    setFrame(2.9);
    EXPECT_EQ(vertices(), 4) << "frames truncate toward zero";
    MTime::setUIUnit(MTime::kPALFrame);
    Host::setCurrentTime(MTime(3.0, MTime::kPALFrame));
    EXPECT_EQ(vertices(), 5) << "frames count in the user interface unit";
    MTime::setUIUnit(MTime::kFilm);
    setFrame(1);
    ASSERT_TRUE(Host::plug("KMeshLoader1.frameOffset").setValue(1));
    EXPECT_EQ(vertices(), 4) << "a new offset re-reads";
    EXPECT_TRUE(errors().empty());
    setFrame(6); // frame 7 does not exist: an empty mesh, not no mesh
    EXPECT_EQ(vertices(), 0);
    EXPECT_EQ(errors(), std::vector<std::string>{"Failed to open the file: " + folder + "/seq_0007.obj"});
    EXPECT_TRUE(Host::plug("KMeshLoader1.outMesh").asMObject().hasFn(MFn::kMeshData));
    Host::clearMessages();
    setPath(folder.substr(0, folder.rfind('/')) + "/mesh.obj");
    EXPECT_EQ(vertices(), 0);
    EXPECT_EQ(errors(), std::vector<std::string>{"Failed to open the file: NOT A SEQUENCE FILE"});
}

TEST_F(KMeshLoaderTest, FacesTheHostCannotBuildAreLeftOut) {
    // Kept: the triangle and the quad. Left out: two corners, a trailing-blank index of -1, an
    // index past the end, a zero index and relative indices. Without the check the whole mesh
    // would be handed to the host as it is.
    const std::string file = folder + "/odd_0001.obj";
    std::ofstream(file) << "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nf 1 2\nf 1 2 3  \nf 1 2 9\nf 0 1 2\n"
                           "f -1 -2 -3\nf 1 2 3\nf\t1 2 3\nf 1 2 3 4\n";
    setPath(file);
    setFrame(1);
    EXPECT_EQ(vertices(), 4);
    MIntArray counts, connects;
    MFnMesh(shape).getVertices(counts, connects);
    ASSERT_EQ(counts.length(), 2u);
    EXPECT_EQ(counts[0], 3);
    EXPECT_EQ(counts[1], 4);
    EXPECT_EQ(connects.length(), 7u);
    EXPECT_TRUE(errors().empty());
}

} // namespace
