// The environment sphere and the Viewport 2.0 bridge drawn in offscreen frames of the host stand-in
// (EGL on Mesa), through both viewports. Node and bridge are compiled in and registered by an
// in-process plug-in, so that the texture and the style handed over can be inspected; the last
// test loads the plug-in module itself.
#include "KDrawOverride.h"
#include "KEnvSphere.h"

#include "support/KGLTestContext.h"

#include <kelno/maya/KMayaUtils.h>

#include <host/Host.h>
#include <host/HostDraw.h>

#include <maya/MDrawRegistry.h>
#include <maya/MFnPlugin.h>
#include <maya/MFnTypedAttribute.h>
#include <maya/MPxLocatorNode.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

const std::string kSamples = std::string(KELNO_SOURCE_DIR) + "/samples/env_sphere/";
const int kSize = 32;

// A locator that records what the bridge hands to it, and disturbs the GL state it was given.
struct StyleProbe : MPxLocatorNode {
    static inline int lastStyle = -1, draws = 0;
    static inline double modelView[16], projection[16];
    static inline MString classification{"drawdb/geometry/StyleProbe"}, registrant{"StyleProbeNodePlugin"};
    static void* creator() { return new StyleProbe; }
    static MStatus initialize() { return MS::kSuccess; }
    void draw(int style) {
        lastStyle = style;
        ++draws;
        glGetDoublev(GL_MODELVIEW_MATRIX, modelView);
        glGetDoublev(GL_PROJECTION_MATRIX, projection);
        glColor4f(0.9f, 0.1f, 0.1f, 1.0f);
        glMatrixMode(GL_PROJECTION);
        glLoadIdentity();
        glMatrixMode(GL_MODELVIEW);
        glTranslatef(1.0f, 2.0f, 3.0f);
    }
    MBoundingBox boundingBox() const override { return MBoundingBox(MPoint(-2, -3, -4), MPoint(2, 3, 4)); }
};

// A stand-in for the host's file texture node: a string output to feed the sphere's "file".
struct FileNode : MPxNode {
    static inline MObject fileTextureName;
    static void* creator() { return new FileNode; }
    static MStatus initialize() {
        MFnTypedAttribute fn;
        fileTextureName = fn.create("fileTextureName", "ftn", MFnData::kString);
        return addAttribute(fileTextureName);
    }
};

class EnvSphereTest : public testing::Test {
  protected:
    void SetUp() override {
        Host::resetSession();
        MObject pluginObject = Host::inProcessPlugin("KelnoDrawTest");
        MFnPlugin plugin(pluginObject, "Kelno", "1.0", "Any");
        ASSERT_TRUE(plugin.registerNode(KEnvSphere::nodeTypeName, KEnvSphere::nodeTypeId,
                                        &KEnvSphere::creator, &KEnvSphere::initialize, MPxNode::kLocatorNode,
                                        &KEnvSphere::drawDbClassification));
        ASSERT_TRUE(MHWRender::MDrawRegistry::registerDrawOverrideCreator(
            KEnvSphere::drawDbClassification, KEnvSphere::drawRegistrantId,
            &Kelno::KDrawOverride<KEnvSphere>::Creator));
        ASSERT_TRUE(plugin.registerNode("StyleProbe", MTypeId(0x7ff00), &StyleProbe::creator,
                                        &StyleProbe::initialize, MPxNode::kLocatorNode,
                                        &StyleProbe::classification));
        ASSERT_TRUE(MHWRender::MDrawRegistry::registerDrawOverrideCreator(
            StyleProbe::classification, StyleProbe::registrant, &Kelno::KDrawOverride<StyleProbe>::Creator));
        ASSERT_TRUE(plugin.registerNode("file", MTypeId(0x7ff01), &FileNode::creator, &FileNode::initialize));
        Host::createCamera("persp", MPoint(0, 0, 5), MPoint(0, 0, 0));
    }
    void TearDown() override {
        Host::resetSession();
        for (const auto& d : Host::registeredDrawOverrides())
            MHWRender::MDrawRegistry::deregisterDrawOverrideCreator(d.classification.c_str(),
                                                                    d.registrantId.c_str());
    }

    MObject sphere(const std::string& image) {
        MObject node = Host::createNode("KEnvSphere");
        name = Kelno::MObjectToNodeName(node).asChar();
        Host::plug(name + ".file").setValue(MString(image.c_str()));
        return node;
    }
    // Evaluates "output", which (re)loads the texture.
    void load() { Host::plug(name + ".output").asBool(); }
    Host::Frame frame(Host::FrameRequest request = Host::FrameRequest()) {
        request.camera = "persp";
        request.width = request.height = kSize;
        Host::Frame f = Host::renderFrame(request);
        EXPECT_TRUE(f.rendered) << f.error;
        for (const auto& o : f.objects)
            for (const std::string& change : o.stateChanges)
                ADD_FAILURE() << o.path << " left the GL state changed: " << change;
        return f;
    }
    std::vector<unsigned char> textureBytes() {
        auto* node = dynamic_cast<KEnvSphere*>(MFnDependencyNode(Host::findNode(name)).userNode());
        std::vector<unsigned char> bytes(8 * 4 * 4, 0xCD);
        if (!node || !glIsTexture(node->textureName()))
            return {};
        glBindTexture(GL_TEXTURE_2D, node->textureName());
        glGetTexImage(GL_TEXTURE_2D, 0, GL_RGBA, GL_UNSIGNED_BYTE, bytes.data());
        glBindTexture(GL_TEXTURE_2D, 0);
        return bytes;
    }

    KelnoTest::GLTestContext context;
    std::string name;
};

bool blank(const Host::Frame& f) {
    return !f.rgba.empty() &&
           std::all_of(f.rgba.begin(), f.rgba.end(), [](unsigned char b) { return b == 0; });
}

// The centre of the frame sees the sphere's near side (red, the texture's middle columns) over
// its far side (blue, the outer ones). Each pass blends with alpha a = 0.5 * texture alpha;
// the far side is drawn first and the near side over it, on a black transparent background.
TEST_F(EnvSphereTest, DrawsTheTexturedHalfTransparentSphereInsideFirst) {
    KELNO_REQUIRE_GL_CONTEXT(context);
    struct Row {
        Host::Viewport viewport;
        float opacity;
        const char* image;
    } rows[] = {{Host::Viewport::Viewport2, 1.0f, "bands_rgba.png"},
                {Host::Viewport::Legacy, 1.0f, "bands_rgba.png"},
                {Host::Viewport::Viewport2, 0.5f, "bands_rgba.png"}};
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message()
                     << "opacity " << row.opacity << " legacy " << (row.viewport == Host::Viewport::Legacy));
        TearDown();
        SetUp();
        sphere(kSamples + row.image);
        Host::plug(name + ".opacity").setValue(row.opacity);
        frame(); // the draw reads the opacity ...
        load();  // ... that the texture load bakes into the alpha
        Host::FrameRequest request;
        request.viewport = row.viewport;
        const Host::Frame f = frame(request);
        ASSERT_EQ(f.objects.size(), 1u);
        const double a = 0.5 * static_cast<int>(255 * row.opacity) / 255.0;
        const unsigned char* centre = f.pixel(kSize / 2, kSize / 2);
        EXPECT_NEAR(centre[0], 255 * a, 3) << "near side, red";
        EXPECT_NEAR(centre[1], 0, 3);
        EXPECT_NEAR(centre[2], 255 * a * (1 - a), 3) << "far side, blue, seen through the near side";
        EXPECT_NEAR(centre[3], 255 * (a * a + a * a * (1 - a)), 3);
        const unsigned char* corner = f.pixel(0, 0);
        EXPECT_EQ(corner[0] + corner[1] + corner[2] + corner[3], 0) << "outside the sphere";
    }
}

TEST_F(EnvSphereTest, DrawsNothingInBatchUnderOtherRenderersWhenHiddenOrWithoutStateManager) {
    KELNO_REQUIRE_GL_CONTEXT(context);
    MObject node = sphere(kSamples + "bands_rgba.png");
    load();
    MDAGDrawOverrideInfo hidden;
    hidden.fOverrideEnabled = true;
    hidden.fEnableVisible = false;
    struct Row {
        const char* what;
        MGlobal::MMayaState state;
        Host::Viewport viewport;
        MHWRender::DrawAPI api;
        bool stateManager;
        bool hide;
    } rows[] = {
        {"batch", MGlobal::kBatch, Host::Viewport::Viewport2, MHWRender::kOpenGL, true, false},
        {"batch, legacy", MGlobal::kBatch, Host::Viewport::Legacy, MHWRender::kOpenGL, true, false},
        {"DirectX", MGlobal::kInteractive, Host::Viewport::Viewport2, MHWRender::kDirectX11, true, false},
        {"no state manager", MGlobal::kInteractive, Host::Viewport::Viewport2, MHWRender::kOpenGL, false,
         false},
        {"hidden", MGlobal::kInteractive, Host::Viewport::Viewport2, MHWRender::kOpenGL, true, true}};
    for (const Row& row : rows) {
        Host::setMayaState(row.state);
        Host::setDrawOverrideInfo(node, row.hide ? hidden : MDAGDrawOverrideInfo());
        Host::FrameRequest request;
        request.viewport = row.viewport;
        request.drawAPI = row.api;
        request.stateManager = row.stateManager;
        EXPECT_TRUE(blank(frame(request))) << row.what;
    }
    Host::setMayaState(MGlobal::kInteractive);
    Host::setDrawOverrideInfo(node, MDAGDrawOverrideInfo());
    EXPECT_FALSE(blank(frame())) << "and drawn again";
}

TEST_F(EnvSphereTest, BridgeHandsOverTheStyleAndTheViewportMatrices) {
    KELNO_REQUIRE_GL_CONTEXT(context);
    MObject probe = Host::createNode("StyleProbe");
    MFnDagNode shape(probe);
    Host::plug(Kelno::MObjectToNodeName(shape.parent(0)).asChar() + std::string(".translateX")).setValue(0.5);
    const unsigned int shaded = MHWRender::MFrameContext::kGouraudShaded;
    const unsigned int textured = MHWRender::MFrameContext::kTextured;
    const unsigned int wire = MHWRender::MFrameContext::kWireFrame;
    struct Row {
        unsigned int displayStyle;
        bool overrideEnabled, visible, shading;
        int displayType;
        int style; // -1: not drawn
    } rows[] = {
        {shaded, false, true, true, 0, 4},
        {textured, false, true, true, 0, 5},
        {wire, false, true, true, 0, 3},
        {shaded | wire, false, true, true, 0, 3}, // wireframe on shaded: bits, not equality
        {shaded | textured, false, true, true, 0, 3},
        {textured, false, false, true, 0, 5}, // visibility counts only when the override is on
        {textured, true, true, true, 0, 5},
        {shaded, true, true, true, 2, 3},    // reference display
        {textured, true, true, false, 0, 3}, // shading off
        {shaded, true, false, true, 0, -1},  // hidden
    };
    for (const Row& row : rows) {
        MDAGDrawOverrideInfo info;
        info.fOverrideEnabled = row.overrideEnabled;
        info.fEnableVisible = row.visible;
        info.fEnableShading = row.shading;
        info.fDisplayType = static_cast<MDAGDrawOverrideInfo::DrawOverrideDisplayType>(row.displayType);
        Host::setDrawOverrideInfo(probe, info);
        StyleProbe::lastStyle = -1;
        StyleProbe::draws = 0;
        Host::FrameRequest request;
        request.displayStyle = row.displayStyle;
        const Host::Frame f = frame(request);
        EXPECT_EQ(StyleProbe::draws, row.style < 0 ? 0 : 1);
        EXPECT_EQ(StyleProbe::lastStyle, row.style) << "display style " << row.displayStyle << " override "
                                                    << row.overrideEnabled << " type " << row.displayType;
        ASSERT_EQ(f.objects.size(), 1u);
        EXPECT_EQ(f.objects[0].supportedDrawAPIs, 5u);
        EXPECT_TRUE(f.objects[0].bounded);
        EXPECT_EQ(f.objects[0].boundingBox.max().z, 4.0) << "the node's own box";
    }
    // The model-view matrix is the shape's world matrix times the camera's view (camera at z 5),
    // the projection the camera's.
    EXPECT_DOUBLE_EQ(StyleProbe::modelView[12], 0.5);
    EXPECT_DOUBLE_EQ(StyleProbe::modelView[14], -5.0);
    EXPECT_DOUBLE_EQ(StyleProbe::projection[11], -1.0) << "perspective";
}

TEST_F(EnvSphereTest, TextureReloadsWhenFileOrOpacityChangeAndBakesTheLastDrawnOpacity) {
    KELNO_REQUIRE_GL_CONTEXT(context);
    sphere(kSamples + "bands_rgba.png");
    EXPECT_TRUE(textureBytes().empty()) << "nothing loaded before output is evaluated";
    load();
    std::vector<unsigned char> bytes = textureBytes();
    ASSERT_EQ(bytes.size(), 128u);
    EXPECT_EQ(bytes[3], 255);
    EXPECT_EQ(bytes[2], 255) << "bottom-left texel blue";
    EXPECT_EQ(bytes[4 * 3], 255) << "fourth texel red";
    // A new opacity reloads, but with the opacity the last draw read.
    Host::plug(name + ".opacity").setValue(0.5f);
    load();
    EXPECT_EQ(textureBytes()[3], 255);
    frame();
    Host::plug(name + ".opacity").setValue(0.5f);
    load();
    EXPECT_EQ(textureBytes()[3], 127);
    // An RGB image: its bytes taken four at a time, every fourth one the alpha, the rest zero.
    Host::plug(name + ".file").setValue(MString((kSamples + "bands_rgb.png").c_str()));
    load();
    std::vector<unsigned char> expected(128, 0);
    for (int i = 0; i < 8 * 4; ++i) {
        const int x = i % 8;
        const bool red = x >= 2 && x <= 5;
        expected[static_cast<size_t>(i * 3)] = red ? 255 : 0;
        expected[static_cast<size_t>(i * 3 + 2)] = red ? 0 : 255;
    }
    for (size_t i = 3; i < 96; i += 4)
        expected[i] = 127;
    EXPECT_EQ(textureBytes(), expected);
    // A file that cannot be read leaves no texture; the sphere is still drawn, plain.
    Host::plug(name + ".file").setValue(MString((kSamples + "missing.png").c_str()));
    load();
    EXPECT_TRUE(textureBytes().empty());
    EXPECT_TRUE(Host::messages(Host::MessageKind::Error).empty());
    const Host::Frame f = frame();
    EXPECT_NEAR(f.pixel(kSize / 2, kSize / 2)[0], 255 * (0.5 + 0.25), 3) << "white at half alpha, twice";
}

TEST_F(EnvSphereTest, GLErrorsAreShownWithTheirMessagesAndTheLoadCarriesOn) {
    KELNO_REQUIRE_GL_CONTEXT(context);
    sphere(kSamples + "bands_rgba.png");
    struct Row {
        void (*makeError)();
        const char* message; // nullptr: not reported
    } rows[] = {{[] { glEnable(0x1234); }, "GL_INVALIDE_ENUM"},
                {[] { glLineWidth(-1.0f); }, "GL_INVALIDE_VALUE"},
                {[] { glEnd(); }, "GL_INVALIDE_OPERATION"},
                {[] { glPopAttrib(); }, nullptr}}; // stack underflow: ignored
    for (const Row& row : rows) {
        Host::clearMessages();
        Host::plug(name + ".opacity").setValue(1.0f); // dirties output
        row.makeError();                              // pending when the load starts
        load();
        const std::vector<std::string> errors = Host::messages(Host::MessageKind::Error);
        if (row.message)
            EXPECT_EQ(errors, std::vector<std::string>{row.message});
        else
            EXPECT_TRUE(errors.empty());
        EXPECT_EQ(textureBytes().size(), 128u) << "loaded all the same";
    }
}

TEST_F(EnvSphereTest, RefreshesAConnectedFileNodesSwatchOnce) {
    KELNO_REQUIRE_GL_CONTEXT(context);
    sphere("");
    frame();
    EXPECT_TRUE(Host::executedCommands().empty()) << "nothing connected yet";
    Host::createNode("file", "file1");
    ASSERT_TRUE(Host::connect("file1.fileTextureName", name + ".file"));
    frame();
    frame(Host::FrameRequest{});
    EXPECT_EQ(Host::executedCommands(), std::vector<std::string>{"updateFileNodeSwatch(\"file1\")"});
}

TEST_F(EnvSphereTest, TheModulesOwnOverrideDrawsTheSphereAndIsRemovedOnUnload) {
    KELNO_REQUIRE_GL_CONTEXT(context);
    TearDown(); // the in-process registrations go; the module registers its own
    Host::createCamera("persp", MPoint(0, 0, 5), MPoint(0, 0, 0));
    // (The order of registration and deregistration is checked in test_pluginMain.)
    ASSERT_TRUE(Host::loadPlugin(KELNO_PLUGIN_PATH));
    MObject node = sphere(kSamples + "bands_rgba.png");
    load();
    EXPECT_FALSE(blank(frame())) << "drawn by the module's override";
    EXPECT_FALSE(Host::unloadPlugin("Kelno")) << "its node is in the scene";
    ASSERT_TRUE(Host::deleteNode(node));
    ASSERT_TRUE(Host::unloadPlugin("Kelno"));
    EXPECT_TRUE(Host::registeredDrawOverrides().empty());
}

} // namespace
