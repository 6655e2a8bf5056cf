// Offscreen resources on a real GL context: render known colours into a frame buffer, read them
// back into an image map, save it as OpenEXR and read the file with OpenEXR itself.
#include <kelno/KGL.h>
#include <kelno/KGLResources.h>

#include "support/KGLTestContext.h"

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfInputFile.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

using namespace Kelno;

namespace {

std::string tempPath(const std::string& name) {
    return (std::filesystem::temp_directory_path() / ("kelno_glres_" + name)).string();
}

struct Exr {
    int width = 0, height = 0;
    std::vector<std::string> channels;
    std::vector<float> rgba; // file scanline order (top first), interleaved R, G, B, A
    Imf::Compression compression = Imf::NO_COMPRESSION;
};

Exr readExr(const std::string& path) {
    Exr out;
    Imf::InputFile file(path.c_str());
    const Imath::Box2i window = file.header().dataWindow();
    out.width = window.max.x - window.min.x + 1;
    out.height = window.max.y - window.min.y + 1;
    out.compression = file.header().compression();
    for (auto it = file.header().channels().begin(); it != file.header().channels().end(); ++it) {
        EXPECT_EQ(it.channel().type, Imf::FLOAT) << it.name();
        out.channels.push_back(it.name());
    }
    out.rgba.assign(static_cast<size_t>(out.width * out.height * 4), -1.0f);
    Imf::FrameBuffer frame;
    const char* names[] = {"R", "G", "B", "A"};
    for (int c = 0; c < 4; ++c)
        frame.insert(names[c], Imf::Slice(Imf::FLOAT, reinterpret_cast<char*>(out.rgba.data() + c),
                                          sizeof(float) * 4, sizeof(float) * 4 * out.width));
    file.setFrameBuffer(frame);
    file.readPixels(window.min.y, window.max.y);
    return out;
}

class KGLResourcesTest : public testing::Test {
  protected:
    KelnoTest::GLTestContext context;
};

TEST_F(KGLResourcesTest, RenderedColoursRoundTripThroughExrBitForBit) {
    KELNO_REQUIRE_GL_CONTEXT(context);
    const int R = 16;
    KGlTex2D texture;
    KGlRbo depth;
    KImageMap map;
    {
        KGlFbo fbo;
        texture.create(R, R, GL_RGBA, GL_RGBA, GL_FLOAT, 0, 0, nullptr);
        depth.create(R, R, GL_DEPTH_COMPONENT);
        fbo.create(texture, depth);
        ASSERT_TRUE(fbo.checkStatus());
        fbo.bind();
        glViewport(0, 0, R, R);
        glClearColor(0.25f, 0.5f, 0.75f, 1.0f);
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
        glMatrixMode(GL_PROJECTION);
        glLoadIdentity();
        glMatrixMode(GL_MODELVIEW);
        glLoadIdentity();
        // The bottom-left quarter red, half transparent; the top row green.
        glBegin(GL_QUADS);
        glColor4f(1, 0, 0, 0.5f);
        glVertex2f(-1, -1), glVertex2f(0, -1), glVertex2f(0, 0), glVertex2f(-1, 0);
        glColor4f(0, 1, 0, 1);
        glVertex2f(-1, 1 - 2.0f / R), glVertex2f(1, 1 - 2.0f / R), glVertex2f(1, 1), glVertex2f(-1, 1);
        glEnd();
        map.set(R, R, 4);
        glReadBuffer(GL_COLOR_ATTACHMENT0);
        glReadPixels(0, 0, R, R, GL_RGBA, GL_FLOAT, map.data());
        KGlFbo::unbind();
        ASSERT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
    }
    auto px = [&](int x, int y, int c) { return map.data()[(y * R + x) * 4 + c]; };
    // Block row 0 is the bottom of the frame buffer.
    EXPECT_NEAR(px(0, 0, 0), 1.0f, 1.0f / 255) << "red quarter at the bottom left";
    EXPECT_NEAR(px(0, 0, 3), 0.5f, 1.0f / 255);
    EXPECT_NEAR(px(R - 1, 0, 2), 0.75f, 1.0f / 255) << "clear colour at the bottom right";
    EXPECT_NEAR(px(3, R - 1, 1), 1.0f, 1.0f / 255) << "green top row";
    const std::string path = tempPath("roundtrip.exr");
    ASSERT_TRUE(map.save(path.c_str(), KImageFormat::kOpenEXR));
    const Exr exr = readExr(path);
    EXPECT_EQ(exr.width, R);
    EXPECT_EQ(exr.height, R);
    EXPECT_EQ(exr.compression, Imf::ZIP_COMPRESSION);
    EXPECT_EQ(exr.channels, (std::vector<std::string>{"A", "B", "G", "R"}));
    // File scanline 0 is the top: block row R - 1 - y.
    for (int y = 0; y < R; ++y)
        EXPECT_EQ(std::memcmp(&exr.rgba[static_cast<size_t>(y * R * 4)], &map.data()[(R - 1 - y) * R * 4],
                              sizeof(float) * 4 * R),
                  0)
            << "scanline " << y;
    std::remove(path.c_str());
}

TEST_F(KGLResourcesTest, IncompleteFrameBufferIsReported) {
    KELNO_REQUIRE_GL_CONTEXT(context);
    KGlFbo never;
    EXPECT_FALSE(never.checkStatus());
    KGlTex2D empty; // no texture object: nothing attached at all
    KGlRbo none;
    KGlFbo fbo;
    fbo.create(empty, none);
    EXPECT_FALSE(fbo.checkStatus());
    KGlTex2D texture; // a colour attachment alone makes a complete frame buffer
    texture.create(8, 8, GL_RGBA, GL_RGBA, GL_FLOAT);
    fbo.create(texture, none);
    EXPECT_TRUE(fbo.checkStatus()) << "re-created with a colour attachment";
}

TEST_F(KGLResourcesTest, SaveFailuresLeaveNoFile) {
    KImageMap map;
    EXPECT_FALSE(map.save(tempPath("empty.exr").c_str(), KImageFormat::kOpenEXR)) << "empty map";
    map.set(4, 4, 4);
    const std::string path = tempPath("unknown.exr");
    EXPECT_FALSE(map.save(path.c_str(), KImageFormat::kUnknown));
    EXPECT_FALSE(std::filesystem::exists(path));
    const std::string missingFolder = tempPath("no/such/folder/map.exr");
    EXPECT_FALSE(map.save(missingFolder.c_str(), KImageFormat::kOpenEXR));
    map.set(0, 4, 4);
    EXPECT_EQ(map.data(), nullptr);
}

TEST_F(KGLResourcesTest, DisplayListHelpers) {
    KELNO_REQUIRE_GL_CONTEXT(context);
    int id = static_cast<int>(glGenLists(1));
    glNewList(static_cast<GLuint>(id), GL_COMPILE);
    glColor4f(0.0f, 1.0f, 0.0f, 1.0f);
    glEndList();
    glColor4f(1, 1, 1, 1);
    KCallDisplayList(id);
    GLfloat colour[4];
    glGetFloatv(GL_CURRENT_COLOR, colour);
    EXPECT_EQ(colour[0], 0.0f) << "the list ran";
    const int none = -1;
    KCallDisplayList(none);
    const GLuint name = static_cast<GLuint>(id);
    KResetDisplayList(id);
    EXPECT_EQ(id, -1);
    EXPECT_FALSE(glIsList(name));
    KResetDisplayList(id);
    EXPECT_EQ(id, -1);
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
}

} // namespace
