// A test fixture with the plug-in loaded into the host stand-in once per suite and a fresh
// session before every test. The test target defines KELNO_PLUGIN_PATH, the plug-in's file.
#pragma once

#include <host/Host.h>

#include <gtest/gtest.h>

#include <string>

namespace KelnoTest {

class PluginTest : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        Host::resetSession();
        std::string error;
        testing::internal::CaptureStderr();
        MStatus st = Host::loadPlugin(KELNO_PLUGIN_PATH, &error);
        testing::internal::GetCapturedStderr();
        ASSERT_TRUE(st) << error;
    }
    static void TearDownTestSuite() {
        Host::resetSession();
        Host::unloadPlugin("Kelno");
    }
    void SetUp() override { Host::resetSession(); }
};

} // namespace KelnoTest
