// The registration frame driven with the plug-in's full tables (seven node types, four of them
// locators with draw overrides, nine commands, thirteen scripts), through an in-process plug-in
// of the host stand-in: order, IDs, kinds, messages and stop-at-first-failure both ways.
#include "KPluginRegistration.h"

#include <host/Host.h>

#include <maya/MFnPlugin.h>
#include <maya/MPxCommand.h>
#include <maya/MSyntax.h>

#include "support/KPluginTables.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

struct TNode : MPxNode {
    static void* creator() { return new TNode; }
    static MStatus initialize() { return MS::kSuccess; }
};
struct TCommand : MPxCommand {
    static void* creator() { return new TCommand; }
    static MSyntax newSyntax() { return MSyntax(); }
    MStatus doIt(const MArgList&) override { return MS::kSuccess; }
};
MHWRender::MPxDrawOverride* drawOverrideCreator(const MObject&) { return nullptr; }

using KelnoTest::kCommandNames;
using KelnoTest::kNodeTypeIds;
using KelnoTest::kNodeTypeNames;

struct Tables {
    MString names[7], classifications[7], registrants[7], commands[9];
    MTypeId ids[7];
    // Each table ends with a zeroed row.
    KNodeRegistration nodes[8] = {};
    KCommandRegistration commandRows[10] = {};
    KPluginTables tables;

    Tables() {
        for (int i = 0; i < 7; ++i) {
            names[i] = kNodeTypeNames[i];
            ids[i] = MTypeId(kNodeTypeIds[i]);
            const bool locator = i >= KelnoTest::kFirstLocator;
            classifications[i] = MString("drawdb/geometry/") + names[i];
            registrants[i] = names[i] + "NodePlugin";
            nodes[i] = KNodeRegistration{&names[i],
                                         &ids[i],
                                         &TNode::creator,
                                         &TNode::initialize,
                                         locator ? MPxNode::kLocatorNode : MPxNode::kDependNode,
                                         locator ? &classifications[i] : nullptr,
                                         locator ? &registrants[i] : nullptr,
                                         locator ? &drawOverrideCreator : nullptr};
        }
        for (int i = 0; i < 9; ++i) {
            commands[i] = kCommandNames[i];
            commandRows[i] = KCommandRegistration{&commands[i], &TCommand::creator, &TCommand::newSyntax};
        }
        tables = KPluginTables{nodes, commandRows, KelnoTest::kPluginScripts, "CreateKelnoMenu",
                               "DeleteKelnoMenu"};
    }
};

// Host::Call's enumerators, in their order.
const char* const kCallNames[] = {
    "registerNode",   "registerDrawOverrideCreator",   "registerCommand",  "registerUI",
    "deregisterNode", "deregisterDrawOverrideCreator", "deregisterCommand"};

// The log as "call name [detail]" lines, successful calls only unless asked otherwise.
std::vector<std::string> calls(bool includeFailed = false) {
    std::vector<std::string> out;
    for (const Host::CallRecord& r : Host::registrationLog())
        if (r.succeeded || includeFailed)
            out.push_back(kCallNames[static_cast<int>(r.call)] + std::string(" ") + r.name +
                          (r.detail.empty() ? "" : " " + r.detail) + (r.succeeded ? "" : " FAILED"));
    return out;
}

// Every call of a full registration (or deregistration), in order, as calls() writes them.
std::vector<std::string> expectedCalls(bool registering) {
    const std::string prefix = registering ? "register" : "deregister";
    std::vector<std::string> out;
    char id[16];
    for (int i = 0; i < 7; ++i) {
        std::snprintf(id, sizeof id, "0x%x", kNodeTypeIds[i]);
        const std::string node = prefix + "Node " + kNodeTypeNames[i] + " " + id;
        const std::string draw = prefix + "DrawOverrideCreator drawdb/geometry/" + kNodeTypeNames[i] + " " +
                                 kNodeTypeNames[i] + "NodePlugin";
        if (i >= KelnoTest::kFirstLocator && !registering)
            out.push_back(draw);
        out.push_back(node);
        if (i >= KelnoTest::kFirstLocator && registering)
            out.push_back(draw);
    }
    for (const char* c : kCommandNames)
        out.push_back(prefix + "Command " + c);
    if (registering)
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

    // The full registration (or deregistration); what it prints to stderr goes to `err`.
    MStatus walk(bool registering, std::string* err) {
        MFnPlugin plugin(pluginObject, registering ? "Kelno" : "Unknown", registering ? "1.0" : "Unknown",
                         "Any");
        testing::internal::CaptureStderr();
        MStatus st = registering ? KRegisterPlugin(plugin, t.tables) : KDeregisterPlugin(plugin, t.tables);
        *err = testing::internal::GetCapturedStderr();
        return st;
    }

    Tables t;
    MObject pluginObject;
};

TEST_F(KPluginRegistrationTest, RegistersAndDeregistersEverythingInTableOrder) {
    std::string err;
    ASSERT_TRUE(walk(true, &err));
    EXPECT_EQ(err, "");
    EXPECT_EQ(calls(true), expectedCalls(true));
    std::vector<std::string> sourced;
    for (const auto& s : Host::sourcedScripts())
        sourced.push_back(s.name);
    EXPECT_EQ(sourced, std::vector<std::string>(KelnoTest::kPluginScripts,
                                                KelnoTest::kPluginScripts + KelnoTest::kScriptCount));
    for (int i = 0; i < 7; ++i) {
        const Host::NodeTypeInfo* info = Host::nodeType(kNodeTypeNames[i]);
        ASSERT_NE(info, nullptr) << kNodeTypeNames[i];
        const bool locator = i >= KelnoTest::kFirstLocator;
        EXPECT_EQ(info->kind, locator ? MPxNode::kLocatorNode : MPxNode::kDependNode);
        EXPECT_EQ(info->classification, locator ? std::string("drawdb/geometry/") + kNodeTypeNames[i] : "");
    }
    EXPECT_EQ(Host::pluginInfo("KelnoTables")->uiProcedures,
              (std::vector<std::string>{"CreateKelnoMenu", "DeleteKelnoMenu", "", ""}));
    Host::clearRegistrationLog();
    ASSERT_TRUE(walk(false, &err));
    EXPECT_EQ(err, "");
    EXPECT_EQ(calls(true), expectedCalls(false)) << "same order as registration, each override first";
    EXPECT_TRUE(Host::registeredDrawOverrides().empty());
    EXPECT_TRUE(Host::registeredCommands().empty());
}

TEST_F(KPluginRegistrationTest, TheFirstFailureIsReportedAndEndsTheWalk) {
    struct Case {
        bool registering;
        Host::Call call;
        int nth;
        const char* message; // what perror is given
        int done;            // calls that succeeded before it
    } cases[] = {
        {true, Host::Call::RegisterNode, 5, "Failed to register: KAbcViewer", 5},
        {true, Host::Call::RegisterDrawOverride, 4, "Failed to register: KTreeSkeletonGenNodePlugin", 10},
        {true, Host::Call::RegisterCommand, 3, "Failed to register: KImportUVs", 13},
        {false, Host::Call::DeregisterNode, 2, "Failed to deregister: KMeshClipper", 1},
        {false, Host::Call::DeregisterDrawOverride, 2, "Failed to deregister: KAbcViewer", 5},
        {false, Host::Call::DeregisterCommand, 4, "Failed to deregister: KTransferUVs", 14},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.message);
        Host::resetSession();
        pluginObject = Host::inProcessPlugin("KelnoTables");
        std::string err;
        if (!c.registering) {
            ASSERT_TRUE(walk(true, &err));
            Host::clearRegistrationLog();
        }
        Host::failNthCall(c.call, c.nth);
        const MStatus st = walk(c.registering, &err);
        EXPECT_EQ(st, MS::kFailure);
        EXPECT_EQ(err, std::string(c.message) + ": " + st.errorString().asChar() + "\n");
        const std::vector<std::string> all = expectedCalls(c.registering);
        EXPECT_EQ(calls(), std::vector<std::string>(all.begin(), all.begin() + c.done));
        if (c.registering) {
            EXPECT_TRUE(Host::sourcedScripts().empty()) << "nothing after the failure";
        }
        if (c.call == Host::Call::RegisterDrawOverride) {
            EXPECT_NE(Host::nodeType("KTreeSkeletonGen"), nullptr) << "the node stays registered";
        }
    }
}

} // namespace
