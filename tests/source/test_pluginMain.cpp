// The plug-in module as the host loads it: what initializePlugin registers and sources, in which
// order, the menu in interactive and batch sessions, and what uninitializePlugin undoes.
#include <host/Host.h>

#include "support/KPluginTables.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

namespace {

class PluginMainTest : public testing::Test {
  protected:
    void SetUp() override {
        TearDown();
        ASSERT_FALSE(Host::isPluginLoaded("Kelno"));
    }
    void TearDown() override {
        Host::resetSession();
        if (Host::isPluginLoaded("Kelno"))
            Host::unloadPlugin("Kelno");
        Host::resetSession();
    }
    // Loads (or unloads) the module; what it prints to stderr goes to `err`.
    static MStatus load(std::string* err = nullptr, bool unloading = false) {
        std::string loaderError;
        testing::internal::CaptureStderr();
        MStatus st =
            unloading ? Host::unloadPlugin("Kelno") : Host::loadPlugin(KELNO_PLUGIN_PATH, &loaderError);
        const std::string text = testing::internal::GetCapturedStderr();
        if (err)
            *err = text;
        EXPECT_TRUE(st || unloading || !loaderError.empty());
        return st;
    }
    static MStatus unload(std::string* err = nullptr) { return load(err, true); }
    static std::vector<std::string> succeededCalls() {
        std::vector<std::string> out;
        for (const auto& r : Host::registrationLog())
            if (r.succeeded)
                out.push_back(r.name + (r.detail.empty() ? "" : " " + r.detail));
        return out;
    }
};

TEST_F(PluginMainTest, LoadAndUnloadInEveryApplicationState) {
    // The menu procedures run only where the host has a UI; no batch procedures are registered.
    // A script on the script path is found; the missing ones do not fail the load.
    const std::string folder = testing::TempDir() + "kelno_scripts_" + std::to_string(getpid());
    ASSERT_EQ(mkdir(folder.c_str(), 0755), 0);
    std::ofstream(folder + "/KMeshLoader.mel") << "global proc KMeshLoaderLoaded() {}\n";
    const struct {
        MGlobal::MMayaState state;
        std::vector<std::string> onLoad, onUnload;
    } cases[] = {{MGlobal::kInteractive, {"CreateKelnoMenu"}, {"DeleteKelnoMenu"}},
                 {MGlobal::kBaseUIMode, {"CreateKelnoMenu"}, {"DeleteKelnoMenu"}},
                 {MGlobal::kBatch, {}, {}},
                 {MGlobal::kLibraryApp, {}, {}}};
    for (const auto& c : cases) {
        SCOPED_TRACE(static_cast<int>(c.state));
        Host::resetSession();
        Host::setMayaState(c.state);
        Host::addScriptPath(folder);
        std::string err;
        ASSERT_TRUE(load(&err)) << err;
        EXPECT_EQ(err, "");
        const Host::NodeTypeInfo* info = Host::nodeType("KMeshLoader");
        ASSERT_NE(info, nullptr);
        EXPECT_EQ(info->kind, MPxNode::kDependNode);
        EXPECT_EQ(
            succeededCalls(),
            (std::vector<std::string>{
                "KMeshLoader 0x90003", "KMeshClipper 0x90001", "KMeshXFormBinder 0x90002",
                "KEnvSphere 0x90004", "drawdb/geometry/KEnvSphere KEnvSphereNodePlugin",
                "KTreeSkeletonGen 0x90006", "drawdb/geometry/KTreeSkeletonGen KTreeSkeletonGenNodePlugin",
                "KGetXForm", "KExportUVs", "KImportUVs", "KTransferUVs", "KCheckCollisionCmd",
                "KDetectInsideComponentsCmd", "KDelaunay2DCmd", "KTreeSkeletonGenCmd",
                "CreateKelnoMenu DeleteKelnoMenu"}));
        std::vector<std::string> sourced, found;
        for (const auto& s : Host::sourcedScripts()) {
            sourced.push_back(s.name);
            if (s.found)
                found.push_back(s.name);
        }
        EXPECT_EQ(sourced, std::vector<std::string>(KelnoTest::kPluginScripts,
                                                    KelnoTest::kPluginScripts + KelnoTest::kScriptCount));
        EXPECT_EQ(found, std::vector<std::string>{"KMeshLoader.mel"});
        const Host::PluginInfo* plugin = Host::pluginInfo("Kelno");
        ASSERT_NE(plugin, nullptr);
        EXPECT_EQ(plugin->version, "1.0");
        EXPECT_EQ(plugin->requiredApiVersion, "Any");
        EXPECT_EQ(Host::executedCommands(), c.onLoad);
        Host::clearRegistrationLog();
        Host::clearExecutedCommands();
        ASSERT_TRUE(unload(&err));
        EXPECT_EQ(err, "");
        // Same order as the load, each draw override before its node.
        EXPECT_EQ(
            succeededCalls(),
            (std::vector<std::string>{
                "KMeshLoader 0x90003", "KMeshClipper 0x90001", "KMeshXFormBinder 0x90002",
                "drawdb/geometry/KEnvSphere KEnvSphereNodePlugin", "KEnvSphere 0x90004",
                "drawdb/geometry/KTreeSkeletonGen KTreeSkeletonGenNodePlugin", "KTreeSkeletonGen 0x90006",
                "KGetXForm", "KExportUVs", "KImportUVs", "KTransferUVs", "KCheckCollisionCmd",
                "KDetectInsideComponentsCmd", "KDelaunay2DCmd", "KTreeSkeletonGenCmd"}));
        EXPECT_EQ(Host::nodeType("KMeshLoader"), nullptr);
        EXPECT_EQ(Host::executedCommands(), c.onUnload);
    }
    std::remove((folder + "/KMeshLoader.mel").c_str());
    rmdir(folder.c_str());
}

TEST_F(PluginMainTest, FailuresAreReportedAndStopTheLoadOrTheUnload) {
    Host::failNthCall(Host::Call::RegisterNode, 1);
    std::string err;
    MStatus st = load(&err);
    EXPECT_EQ(st, MS::kFailure);
    EXPECT_EQ(err, std::string("Failed to register: KMeshLoader: ") + st.errorString().asChar() + "\n");
    EXPECT_FALSE(Host::isPluginLoaded("Kelno"));
    EXPECT_TRUE(Host::sourcedScripts().empty());
    EXPECT_TRUE(succeededCalls().empty()) << "no menu either";
    Host::resetSession();
    ASSERT_TRUE(load());
    Host::failNthCall(Host::Call::DeregisterNode, 1);
    st = unload(&err);
    EXPECT_FALSE(st);
    EXPECT_EQ(err, std::string("Failed to deregister: KMeshLoader: ") + st.errorString().asChar() + "\n");
    EXPECT_TRUE(Host::isPluginLoaded("Kelno"));
    Host::clearFailures();
    MObject node = Host::createNode("KMeshLoader");
    EXPECT_FALSE(unload()) << "refused while its nodes exist";
    Host::deleteNode(node);
    EXPECT_TRUE(unload());
}

TEST_F(PluginMainTest, TheLoaderRefusesWhatIsNotAPlugin) {
    std::string error;
    EXPECT_FALSE(Host::loadPlugin("/nonexistent/Kelno.so", &error));
    EXPECT_FALSE(error.empty());
    error.clear();
    EXPECT_FALSE(Host::loadPlugin(KELNO_BASE_LIBRARY_PATH, &error)) << "a library without the entry points";
    EXPECT_NE(error.find("initializePlugin"), std::string::npos) << error;
    ASSERT_TRUE(load());
    EXPECT_FALSE(Host::loadPlugin(KELNO_PLUGIN_PATH, &error)) << "loaded twice";
}

} // namespace
