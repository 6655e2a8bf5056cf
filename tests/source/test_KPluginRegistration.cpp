// The registration frame driven with the plug-in's full tables (seven node types, four of them
// locators with draw overrides, nine commands, thirteen scripts), through an in-process plug-in
// of the host stand-in: order, IDs, kinds, messages and stop-at-first-failure both ways.
#include "KPluginRegistration.h"

#include <host/Host.h>

#include <maya/MFnPlugin.h>
#include <maya/MPxCommand.h>
#include <maya/MSyntax.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

template <int N> struct TNode : MPxNode {
    static void* creator() { return new TNode; }
    static MStatus initialize() { return MS::kSuccess; }
};
template <int N> struct TCommand : MPxCommand {
    static void* creator() { return new TCommand; }
    static MSyntax newSyntax() { return MSyntax(); }
    MStatus doIt(const MArgList&) override { return MS::kSuccess; }
};
MHWRender::MPxDrawOverride* drawOverrideCreator(const MObject&) { return nullptr; }

const char* const kNodeNames[] = {"KMeshLoader", "KMeshClipper",       "KMeshXFormBinder", "KEnvSphere",
                                  "KAbcViewer",  "KAbcViewerInstance", "KTreeSkeletonGen"};
const unsigned int kNodeIds[] = {0x90003, 0x90001, 0x90002, 0x90004, 0x82009, 0x82010, 0x90006};
const char* const kCommandNames[] = {"KGetXForm",
                                     "KExportUVs",
                                     "KImportUVs",
                                     "KTransferUVs",
                                     "KCheckCollisionCmd",
                                     "KCollisionMapGenCmd",
                                     "KDetectInsideComponentsCmd",
                                     "KDelaunay2DCmd",
                                     "KTreeSkeletonGenCmd"};
const char* const kScripts[] = {"KelnoUtils.mel",          "KelnoMenu.mel",
                                "KEnvSphere.mel",          "KAbcViewer.mel",
                                "KMeshLoader.mel",         "KMeshClipper.mel",
                                "KUVTransferWin.mel",      "KMeshXFormBinder.mel",
                                "KCollisionMapGenWin.mel", "KDetectInsideComponents.mel",
                                "KDelaunay2DCmd.mel",      "KTreeSkeletonGen.mel",
                                "KTreeSkeletonGenCmd.mel", nullptr};

struct Tables {
    MString names[7], classifications[7], registrants[7], commands[9];
    MTypeId ids[7];
    KNodeRegistration nodes[8];
    KCommandRegistration commandRows[10];
    KPluginTables tables;

    Tables() {
        const MCreatorFunction creators[] = {&TNode<0>::creator, &TNode<1>::creator, &TNode<2>::creator,
                                             &TNode<3>::creator, &TNode<4>::creator, &TNode<5>::creator,
                                             &TNode<6>::creator};
        for (int i = 0; i < 7; ++i) {
            names[i] = kNodeNames[i];
            ids[i] = MTypeId(kNodeIds[i]);
            const bool locator = i >= 3;
            classifications[i] = MString("drawdb/geometry/") + names[i];
            registrants[i] = names[i] + "NodePlugin";
            nodes[i] = KNodeRegistration{&names[i],
                                         &ids[i],
                                         creators[i],
                                         &TNode<0>::initialize,
                                         locator ? MPxNode::kLocatorNode : MPxNode::kDependNode,
                                         locator ? &classifications[i] : nullptr,
                                         locator ? &registrants[i] : nullptr,
                                         locator ? &drawOverrideCreator : nullptr};
        }
        nodes[7] = KNodeRegistration{nullptr, nullptr, nullptr, nullptr, MPxNode::kDependNode,
                                     nullptr, nullptr, nullptr};
        for (int i = 0; i < 9; ++i) {
            commands[i] = kCommandNames[i];
            commandRows[i] =
                KCommandRegistration{&commands[i], &TCommand<0>::creator, &TCommand<0>::newSyntax};
        }
        commandRows[9] = KCommandRegistration{nullptr, nullptr, nullptr};
        tables = KPluginTables{nodes, commandRows, kScripts, "CreateKelnoMenu", "DeleteKelnoMenu"};
    }
};

std::string callName(Host::Call c) {
    switch (c) {
    case Host::Call::RegisterNode:
        return "registerNode";
    case Host::Call::RegisterDrawOverride:
        return "registerDrawOverrideCreator";
    case Host::Call::RegisterCommand:
        return "registerCommand";
    case Host::Call::RegisterUI:
        return "registerUI";
    case Host::Call::DeregisterNode:
        return "deregisterNode";
    case Host::Call::DeregisterDrawOverride:
        return "deregisterDrawOverrideCreator";
    case Host::Call::DeregisterCommand:
        return "deregisterCommand";
    }
    return "?";
}

// The log as "call name [detail]" lines, successful calls only unless asked otherwise.
std::vector<std::string> calls(bool includeFailed = false) {
    std::vector<std::string> out;
    for (const Host::CallRecord& r : Host::registrationLog())
        if (r.succeeded || includeFailed)
            out.push_back(callName(r.call) + " " + r.name + (r.detail.empty() ? "" : " " + r.detail) +
                          (r.succeeded ? "" : " FAILED"));
    return out;
}

std::vector<std::string> expectedRegistration() {
    std::vector<std::string> out;
    char id[16];
    for (int i = 0; i < 7; ++i) {
        std::snprintf(id, sizeof id, "0x%x", kNodeIds[i]);
        out.push_back(std::string("registerNode ") + kNodeNames[i] + " " + id);
        if (i >= 3)
            out.push_back(std::string("registerDrawOverrideCreator drawdb/geometry/") + kNodeNames[i] + " " +
                          kNodeNames[i] + "NodePlugin");
    }
    for (const char* c : kCommandNames)
        out.push_back(std::string("registerCommand ") + c);
    out.push_back("registerUI CreateKelnoMenu DeleteKelnoMenu");
    return out;
}

class KPluginRegistrationTest : public testing::Test {
  protected:
    void SetUp() override {
        Host::resetSession();
        pluginObject = Host::inProcessPlugin("KelnoTables");
    }
    void TearDown() override { Host::resetSession(); }

    MStatus registerAll(std::string* err) {
        MFnPlugin plugin(pluginObject, "Kelno", "1.0", "Any");
        testing::internal::CaptureStderr();
        MStatus st = KRegisterPlugin(plugin, t.tables);
        *err = testing::internal::GetCapturedStderr();
        return st;
    }
    MStatus deregisterAll(std::string* err) {
        MFnPlugin plugin(pluginObject, "Unknown", "Unknown", "Any");
        testing::internal::CaptureStderr();
        MStatus st = KDeregisterPlugin(plugin, t.tables);
        *err = testing::internal::GetCapturedStderr();
        return st;
    }
    std::vector<std::string> sourced() {
        std::vector<std::string> out;
        for (const auto& s : Host::sourcedScripts())
            out.push_back(s.name);
        return out;
    }

    Tables t;
    MObject pluginObject;
};

TEST_F(KPluginRegistrationTest, RegistersNodesEachLocatorWithItsOverrideThenCommandsScriptsAndMenu) {
    std::string err;
    ASSERT_TRUE(registerAll(&err));
    EXPECT_EQ(err, "");
    EXPECT_EQ(calls(true), expectedRegistration());
    EXPECT_EQ(sourced(), std::vector<std::string>(kScripts, kScripts + 13));

    for (int i = 0; i < 7; ++i) {
        const Host::NodeTypeInfo* info = Host::nodeType(kNodeNames[i]);
        ASSERT_NE(info, nullptr) << kNodeNames[i];
        EXPECT_EQ(info->id, kNodeIds[i]);
        EXPECT_EQ(info->kind, i < 3 ? MPxNode::kDependNode : MPxNode::kLocatorNode);
        EXPECT_EQ(info->classification, i < 3 ? "" : std::string("drawdb/geometry/") + kNodeNames[i]);
    }
    EXPECT_EQ(Host::registeredDrawOverrides().size(), 4u);
    EXPECT_EQ(Host::registeredCommands().size(), 9u);
    const Host::PluginInfo* info = Host::pluginInfo("KelnoTables");
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->uiProcedures, (std::vector<std::string>{"CreateKelnoMenu", "DeleteKelnoMenu", "", ""}));
}

TEST_F(KPluginRegistrationTest, MissingScriptsDoNotFailTheLoad) {
    std::string err;
    ASSERT_TRUE(registerAll(&err));
    for (const auto& s : Host::sourcedScripts())
        EXPECT_FALSE(s.found) << s.name;
}

TEST_F(KPluginRegistrationTest, FailingNodeStopsEverythingAfterIt) {
    Host::failNthCall(Host::Call::RegisterNode, 5); // KAbcViewer
    std::string err;
    MStatus st = registerAll(&err);
    EXPECT_EQ(st, MS::kFailure);
    EXPECT_EQ(err, std::string("Failed to register: KAbcViewer: ") + st.errorString().asChar() + "\n");
    const std::vector<std::string> all = expectedRegistration();
    std::vector<std::string> expected(all.begin(), all.begin() + 5);
    EXPECT_EQ(calls(), expected) << "nodes 1-4 and the KEnvSphere override, nothing else";
    EXPECT_EQ(Host::nodeType("KAbcViewer"), nullptr);
    EXPECT_TRUE(Host::registeredCommands().empty());
    EXPECT_TRUE(Host::sourcedScripts().empty());
}

TEST_F(KPluginRegistrationTest, FailingDrawOverrideNamesTheRegistrantAndKeepsTheNode) {
    Host::failNthCall(Host::Call::RegisterDrawOverride, 4); // KTreeSkeletonGen's
    std::string err;
    MStatus st = registerAll(&err);
    EXPECT_FALSE(st);
    EXPECT_EQ(err, std::string("Failed to register: KTreeSkeletonGenNodePlugin: ") +
                       st.errorString().asChar() + "\n");
    EXPECT_NE(Host::nodeType("KTreeSkeletonGen"), nullptr);
    EXPECT_EQ(Host::registeredDrawOverrides().size(), 3u);
    EXPECT_TRUE(Host::registeredCommands().empty());
    EXPECT_TRUE(Host::sourcedScripts().empty());
    for (const std::string& c : calls())
        EXPECT_EQ(c.find("registerUI"), std::string::npos);
}

TEST_F(KPluginRegistrationTest, FailingCommandStopsBeforeScripts) {
    Host::failNthCall(Host::Call::RegisterCommand, 3);
    std::string err;
    EXPECT_FALSE(registerAll(&err));
    EXPECT_EQ(err.rfind("Failed to register: KImportUVs: ", 0), 0u) << err;
    ASSERT_EQ(Host::registeredCommands().size(), 2u);
    EXPECT_EQ(Host::registeredCommands()[1].name, "KExportUVs");
    EXPECT_TRUE(Host::sourcedScripts().empty());
}

TEST_F(KPluginRegistrationTest, DeregistersInRegistrationOrderOverrideBeforeNode) {
    std::string err;
    ASSERT_TRUE(registerAll(&err));
    Host::clearRegistrationLog();
    ASSERT_TRUE(deregisterAll(&err));
    EXPECT_EQ(err, "");
    std::vector<std::string> expected;
    char id[16];
    for (int i = 0; i < 7; ++i) {
        std::snprintf(id, sizeof id, "0x%x", kNodeIds[i]);
        if (i >= 3)
            expected.push_back(std::string("deregisterDrawOverrideCreator drawdb/geometry/") + kNodeNames[i] +
                               " " + kNodeNames[i] + "NodePlugin");
        expected.push_back(std::string("deregisterNode ") + kNodeNames[i] + " " + id);
    }
    for (const char* c : kCommandNames)
        expected.push_back(std::string("deregisterCommand ") + c);
    EXPECT_EQ(calls(true), expected);
    EXPECT_TRUE(Host::registeredDrawOverrides().empty());
    EXPECT_TRUE(Host::registeredCommands().empty());
    EXPECT_EQ(Host::nodeType("KMeshLoader"), nullptr);
}

TEST_F(KPluginRegistrationTest, FailingOverrideDeregistrationNamesTheNodeAndStops) {
    std::string err;
    ASSERT_TRUE(registerAll(&err));
    Host::failNthCall(Host::Call::DeregisterDrawOverride, 2); // KAbcViewer's
    MStatus st = deregisterAll(&err);
    EXPECT_FALSE(st);
    EXPECT_EQ(err, std::string("Failed to deregister: KAbcViewer: ") + st.errorString().asChar() + "\n");
    EXPECT_EQ(Host::nodeType("KEnvSphere"), nullptr);
    EXPECT_NE(Host::nodeType("KAbcViewer"), nullptr);
    EXPECT_NE(Host::nodeType("KTreeSkeletonGen"), nullptr);
    EXPECT_EQ(Host::registeredDrawOverrides().size(), 3u);
    EXPECT_EQ(Host::registeredCommands().size(), 9u);
}

TEST_F(KPluginRegistrationTest, FailingNodeOrCommandDeregistrationNamesIt) {
    std::string err;
    ASSERT_TRUE(registerAll(&err));
    Host::failNthCall(Host::Call::DeregisterNode, 2);
    EXPECT_FALSE(deregisterAll(&err));
    EXPECT_EQ(err.rfind("Failed to deregister: KMeshClipper: ", 0), 0u) << err;
    EXPECT_EQ(Host::nodeType("KMeshLoader"), nullptr);
    EXPECT_NE(Host::nodeType("KMeshXFormBinder"), nullptr);

    Host::resetSession();
    pluginObject = Host::inProcessPlugin("KelnoTables");
    ASSERT_TRUE(registerAll(&err));
    Host::failNthCall(Host::Call::DeregisterCommand, 4);
    EXPECT_FALSE(deregisterAll(&err));
    EXPECT_EQ(err.rfind("Failed to deregister: KTransferUVs: ", 0), 0u) << err;
    EXPECT_EQ(Host::registeredCommands().size(), 6u);
}

} // namespace
