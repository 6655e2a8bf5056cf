// GL work at load: glewInit and the framebuffer check run in interactive and base-UI sessions
// only, and an unsupported framebuffer only warns. This executable exports its own glewInit,
// which the plug-in module binds to when the host opens it, to count the calls and to supply
// the framebuffer check's answer.
#include <host/Host.h>

#include <GL/glew.h>

#include <gtest/gtest.h>

#include <string>

namespace {
int glewInitCalls = 0;
int checkCalls = 0;
GLenum checkAnswer = GL_FRAMEBUFFER_COMPLETE_EXT;

GLenum GLAPIENTRY fakeCheckFramebufferStatus(GLenum target) {
    ++checkCalls;
    EXPECT_EQ(target, static_cast<GLenum>(GL_FRAMEBUFFER_EXT));
    return checkAnswer;
}
} // namespace

extern "C" __attribute__((visibility("default"))) GLenum GLEWAPIENTRY glewInit(void) {
    ++glewInitCalls;
    __glewCheckFramebufferStatusEXT = &fakeCheckFramebufferStatus;
    return GLEW_OK;
}

namespace {

class PluginGLTest : public testing::Test {
  protected:
    void SetUp() override {
        Host::resetSession();
        glewInitCalls = checkCalls = 0;
        checkAnswer = GL_FRAMEBUFFER_COMPLETE_EXT;
        __glewCheckFramebufferStatusEXT = nullptr;
    }
    void TearDown() override {
        Host::resetSession();
        if (Host::isPluginLoaded("Kelno"))
            Host::unloadPlugin("Kelno");
    }
    std::string loadCapturingStdout() {
        testing::internal::CaptureStdout();
        EXPECT_TRUE(Host::loadPlugin(KELNO_PLUGIN_PATH));
        std::string out = testing::internal::GetCapturedStdout();
        EXPECT_TRUE(Host::unloadPlugin("Kelno"));
        return out;
    }
};

TEST_F(PluginGLTest, BatchAndLibraryLoadsMakeNoGLCall) {
    for (MGlobal::MMayaState state : {MGlobal::kBatch, MGlobal::kLibraryApp}) {
        Host::setMayaState(state);
        EXPECT_EQ(loadCapturingStdout(), "");
    }
    EXPECT_EQ(glewInitCalls, 0);
    EXPECT_EQ(checkCalls, 0);
}

TEST_F(PluginGLTest, InteractiveAndBaseUILoadsInitialiseGlewAndCheckTheFramebuffer) {
    for (MGlobal::MMayaState state : {MGlobal::kInteractive, MGlobal::kBaseUIMode}) {
        Host::setMayaState(state);
        EXPECT_EQ(loadCapturingStdout(), "");
    }
    EXPECT_EQ(glewInitCalls, 2);
    EXPECT_EQ(checkCalls, 2);
}

TEST_F(PluginGLTest, UnsupportedFramebufferOnlyWarns) {
    checkAnswer = GL_FRAMEBUFFER_UNSUPPORTED_EXT;
    EXPECT_EQ(loadCapturingStdout(), "Error: GL_FRAMEBUFFER_UNSUPPORTED_EXT\n");
    EXPECT_EQ(checkCalls, 1);
}

} // namespace
