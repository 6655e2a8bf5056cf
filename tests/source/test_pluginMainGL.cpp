// GL work at load: glewInit and the framebuffer check run in interactive and base-UI sessions
// only, and an unsupported framebuffer only warns. This executable exports its own glewInit,
// which the plug-in module binds to when the host opens it, to count the calls and to supply
// the framebuffer check's answer.
#include <host/Host.h>

#include <GL/glew.h>

#include <gtest/gtest.h>

#include <string>

namespace {
int glewInitCalls = 0, checkCalls = 0;
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
    void TearDown() override {
        Host::resetSession();
        if (Host::isPluginLoaded("Kelno"))
            Host::unloadPlugin("Kelno");
    }
};

TEST_F(PluginGLTest, GlewAndTheFramebufferCheckRunOnlyWithAUIAndAFailedCheckOnlyWarns) {
    const struct {
        MGlobal::MMayaState state;
        GLenum answer;
        int calls; // of glewInit, and of the check
        const char* out;
    } rows[] = {{MGlobal::kBatch, GL_FRAMEBUFFER_UNSUPPORTED_EXT, 0, ""},
                {MGlobal::kLibraryApp, GL_FRAMEBUFFER_UNSUPPORTED_EXT, 0, ""},
                {MGlobal::kInteractive, GL_FRAMEBUFFER_COMPLETE_EXT, 1, ""},
                {MGlobal::kBaseUIMode, GL_FRAMEBUFFER_COMPLETE_EXT, 1, ""},
                {MGlobal::kInteractive, GL_FRAMEBUFFER_UNSUPPORTED_EXT, 1,
                 "Error: GL_FRAMEBUFFER_UNSUPPORTED_EXT\n"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "state " << row.state << " answer " << row.answer);
        Host::resetSession();
        Host::setMayaState(row.state);
        glewInitCalls = checkCalls = 0;
        checkAnswer = row.answer;
        __glewCheckFramebufferStatusEXT = nullptr;
        testing::internal::CaptureStdout();
        EXPECT_TRUE(Host::loadPlugin(KELNO_PLUGIN_PATH));
        EXPECT_EQ(testing::internal::GetCapturedStdout(), row.out);
        EXPECT_TRUE(Host::unloadPlugin("Kelno"));
        EXPECT_EQ(glewInitCalls, row.calls);
        EXPECT_EQ(checkCalls, row.calls);
    }
}

} // namespace
