// The tree skeleton node drawn in offscreen frames of the host stand-in, through both viewports:
// yellow strips and red points where the chains are, nothing for an empty node (whose box sits
// at the camera's centre of interest), the connection made by the first draw and the attribute
// editor refresh after a compute.
#include "support/KGLTestContext.h"
#include "support/KSkeletonScene.h"
#include "support/KTestMeshes.h"
#include "support/KTestTrees.h"

#include <host/HostDraw.h>

#include <gtest/gtest.h>

#include <algorithm>

using namespace KelnoTest;

namespace {

const int kSize = 64;

class TreeSkeletonDrawTest : public testing::Test {
  protected:
    void SetUp() override {
        Host::resetSession();
        registerSkeletonPlugin();
        Host::createCamera("persp", MPoint(0, 5, 12), MPoint(0, 5, 0));
    }
    void TearDown() override {
        Host::resetSession();
        unregisterDrawOverrides();
    }
    Host::Frame frame(Host::Viewport viewport) {
        Host::FrameRequest request;
        request.camera = "persp";
        request.width = request.height = kSize;
        request.viewport = viewport;
        Host::Frame f = Host::renderFrame(request);
        EXPECT_TRUE(f.rendered) << f.error;
        for (const auto& o : f.objects)
            for (const std::string& change : o.stateChanges)
                ADD_FAILURE() << o.path << " left the GL state changed: " << change;
        return f;
    }
    KelnoTest::GLTestContext context;
};

struct Counts {
    int red = 0, yellow = 0, other = 0;
};
Counts count(const Host::Frame& f) {
    Counts c;
    for (int y = 0; y < f.height; ++y)
        for (int x = 0; x < f.width; ++x) {
            const unsigned char* p = f.pixel(x, y);
            if (p[0] > 200 && p[1] > 200 && p[2] < 50)
                ++c.yellow;
            else if (p[0] > 200 && p[1] < 50 && p[2] < 50)
                ++c.red;
            else if (p[0] + p[1] + p[2] > 0)
                ++c.other;
        }
    return c;
}

} // namespace

TEST_F(TreeSkeletonDrawTest, DrawsChainsAsYellowStripsAndRedPoints) {
    KELNO_REQUIRE_GL_CONTEXT(context);
    const struct {
        const char* what;
        std::vector<Kelno::KTriMesh> meshes;
        bool strips; // a chain of more than one point
    } rows[] = {
        {"trunk", {makeTube({0, 0, 0}, {0, 10, 0}, 0.5f, 16, 21)}, true},
        {"tree", makeSmallTree(), true},
        {"closed cube: one point", {makeCube({-1, 4, -1}, {1, 6, 1})}, false},
    };
    for (const auto& row : rows) {
        for (Host::Viewport viewport : {Host::Viewport::Viewport2, Host::Viewport::Legacy}) {
            SCOPED_TRACE(testing::Message()
                         << row.what << (viewport == Host::Viewport::Legacy ? " legacy" : ""));
            TearDown();
            SetUp();
            const std::string node = skeletonNode(row.meshes, 50, 1.5f);
            Host::plug(node + ".output").asFloat();
            Host::clearExecutedCommands();
            const Host::Frame f = frame(viewport);
            const Counts c = count(f);
            EXPECT_EQ(c.other, 0);
            EXPECT_GT(c.red, 0);
            EXPECT_EQ(c.yellow > 0, row.strips);
            if (row.strips) {
                // The trunk's chain runs up the middle column: yellow between the red centres.
                int column = 0;
                for (int y = 0; y < kSize; ++y)
                    column += f.pixel(kSize / 2, y)[0] > 200;
                EXPECT_GT(column, kSize / 4);
            } else {
                // The single centre is the origin, below the view's centre.
                EXPECT_LT(c.red, 40);
                EXPECT_EQ(f.pixel(kSize / 2, kSize / 2)[0], 0);
            }
            EXPECT_EQ(Host::executedCommands(), std::vector<std::string>{"updateAE " + node});
            // The first draw tied the node to its transform.
            EXPECT_TRUE(Host::plug(node + ".output").isConnected());
        }
    }
}

TEST_F(TreeSkeletonDrawTest, EmptyNodeDrawsNothingAndIsBoundedAtTheCentreOfInterest) {
    KELNO_REQUIRE_GL_CONTEXT(context);
    Host::createNode("KTreeSkeletonGen");
    for (Host::Viewport viewport : {Host::Viewport::Viewport2, Host::Viewport::Legacy}) {
        const Host::Frame f = frame(viewport);
        const Counts c = count(f);
        EXPECT_EQ(c.red + c.yellow + c.other, 0);
        ASSERT_EQ(f.objects.size(), 1u);
        if (viewport == Host::Viewport::Viewport2) {
            const MBoundingBox& box = f.objects[0].boundingBox;
            EXPECT_NEAR(box.center().x, 0.0, 1e-9);
            EXPECT_NEAR(box.center().y, 5.0, 1e-9);
            EXPECT_NEAR(box.center().z, 0.0, 1e-9);
            EXPECT_LT(box.width(), 1e-20);
        }
    }
}
