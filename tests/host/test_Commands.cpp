// Commands in the host stand-in: syntax, flag parsing through MArgDatabase, results, and
// commands run from MEL strings.
#include <host/Host.h>

#include <maya/MArgDatabase.h>
#include <maya/MArgList.h>
#include <maya/MFnDependencyNode.h>
#include <maya/MGlobal.h>
#include <maya/MPxCommand.h>
#include <maya/MSelectionList.h>
#include <maya/MSyntax.h>

#include <gtest/gtest.h>

namespace {

// Echoes its flags: -n/-name (string), -s/-scale (double), -c/-count (unsigned).
class TEchoCmd : public MPxCommand {
  public:
    static int instances;
    TEchoCmd() { ++instances; }
    ~TEchoCmd() override { --instances; }
    static void* creator() { return new TEchoCmd; }
    static MSyntax newSyntax() {
        MSyntax s;
        s.addFlag("-n", "-name", MSyntax::kString);
        s.addFlag("-s", "-scale", MSyntax::kDouble);
        s.addFlag("-c", "-count", MSyntax::kUnsigned);
        s.addFlag("-v", "-verbose");
        return s;
    }
    MStatus doIt(const MArgList& args) override {
        MStatus st;
        MArgDatabase db(syntax(), args, &st);
        if (!st)
            return st;
        MString name("none");
        double scale = 1.0;
        unsigned int count = 0;
        if (db.isFlagSet("-name"))
            db.getFlagArgument("-name", 0, name);
        if (db.isFlagSet("-s") && !db.getFlagArgument("-s", 0, scale)) {
            displayError("TEchoCmd: -scale needs a number");
            return MS::kFailure;
        }
        if (db.isFlagSet("-c") && !db.getFlagArgument("-c", 0, count)) {
            displayError("TEchoCmd: -count needs an unsigned number");
            return MS::kFailure;
        }
        MString out = name + " " + scale + " " + count + (db.isFlagSet("-v") ? " verbose" : "");
        setResult(out);
        return MS::kSuccess;
    }
};
int TEchoCmd::instances = 0;

// Renames the one node named on its command line to its first argument; undoable.
class TRenameCmd : public MPxCommand {
  public:
    static int instances;
    TRenameCmd() { ++instances; }
    ~TRenameCmd() override { --instances; }
    static void* creator() { return new TRenameCmd; }
    static MSyntax newSyntax() {
        MSyntax s;
        s.addFlag("-t", "-to", MSyntax::kString);
        EXPECT_TRUE(s.setObjectType(MSyntax::kSelectionList, 1, 1) && s.useSelectionAsDefault(false) &&
                    s.enableQuery(false) && s.enableEdit(false));
        return s;
    }
    MStatus doIt(const MArgList& args) override {
        MStatus st;
        MArgDatabase db(syntax(), args, &st);
        MSelectionList objects;
        if (!st || !db.getObjects(objects) || !db.getFlagArgument("-to", 0, newName) ||
            !objects.getDependNode(0, node))
            return MS::kFailure;
        oldName = MFnDependencyNode(node).name();
        return redoIt();
    }
    MStatus redoIt() override {
        MFnDependencyNode(node).setName(newName);
        return MS::kSuccess;
    }
    MStatus undoIt() override {
        MFnDependencyNode(node).setName(oldName);
        return MS::kSuccess;
    }
    bool isUndoable() const override { return true; }
    MObject node;
    MString newName, oldName;
};
int TRenameCmd::instances = 0;

class CommandTest : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        ASSERT_TRUE(Host::registerCommand("TEchoCmd", &TEchoCmd::creator, &TEchoCmd::newSyntax));
        ASSERT_TRUE(Host::registerCommand("TRenameCmd", &TRenameCmd::creator, &TRenameCmd::newSyntax));
    }
    void SetUp() override { Host::resetSession(); }
};

TEST_F(CommandTest, FlagsByShortAndLongNameTheirArgumentsRefusalsAndMelStrings) {
    Host::CommandResult r = Host::runCommand("TEchoCmd", {"-name", "rock", "-s", "2.5", "-count", "7", "-v"});
    ASSERT_TRUE(r.status);
    EXPECT_EQ(r.type, MPxCommand::kString);
    EXPECT_EQ(r.strings, std::vector<std::string>{"rock 2.5 7 verbose"});
    EXPECT_EQ(TEchoCmd::instances, 0) << "the command object is deleted after doIt";
    EXPECT_EQ(Host::runCommand("TEchoCmd", {}).strings.at(0), "none 1 0") << "absent flags keep defaults";
    EXPECT_FALSE(Host::runCommand("TEchoCmd", {"-s", "wide"}).status);
    EXPECT_EQ(Host::messages(Host::MessageKind::Error).back(), "TEchoCmd: -scale needs a number");
    EXPECT_FALSE(Host::runCommand("TEchoCmd", {"-count", "-3"}).status);
    EXPECT_EQ(Host::messages(Host::MessageKind::Error).back(), "TEchoCmd: -count needs an unsigned number");
    EXPECT_FALSE(Host::runCommand("TEchoCmd", {"-bogus"}).status);
    EXPECT_FALSE(Host::runCommand("TEchoCmd", {"-name"}).status) << "a flag missing its value";
    EXPECT_EQ(Host::runCommand("NoSuchCmd", {}).status, MS::kNotFound);
    // From MEL strings; MEL the stand-in does not know is recorded and reported as done.
    MString result;
    ASSERT_TRUE(MGlobal::executeCommand("TEchoCmd -n \"two words\" -s 0.5;", result));
    EXPECT_EQ(result, "two words 0.5 0");
    EXPECT_TRUE(MGlobal::executeCommand("setAttr a.b 1"));
    EXPECT_EQ(Host::executedCommands(),
              (std::vector<std::string>{"TEchoCmd -n \"two words\" -s 0.5;", "setAttr a.b 1"}));
}

TEST_F(CommandTest, UndoableCommandsStayOnTheUndoQueue) {
    Host::createNode("transform", "rock");
    ASSERT_TRUE(Host::runCommand("TRenameCmd", {"-to", "stone", "rock"}).status);
    EXPECT_FALSE(Host::findNode("stone").isNull());
    EXPECT_EQ(TRenameCmd::instances, 1) << "kept for undo";
    ASSERT_TRUE(Host::undo());
    EXPECT_FALSE(Host::findNode("rock").isNull());
    ASSERT_TRUE(Host::redo());
    EXPECT_FALSE(Host::findNode("stone").isNull());
    EXPECT_FALSE(Host::redo()) << "nothing left to redo";
    // A failed command is not queued; objects that match no node fail the parse of names.
    EXPECT_FALSE(Host::runCommand("TRenameCmd", {"-to", "x", "nobody"}).status);
    EXPECT_FALSE(Host::runCommand("TRenameCmd", {"-to", "x"}).status) << "one object is required";
    EXPECT_EQ(TRenameCmd::instances, 1);
    Host::resetSession();
    EXPECT_EQ(TRenameCmd::instances, 0) << "the session flushes the queue";
    EXPECT_FALSE(Host::undo());
}

// Duplicate or malformed flags are refused; names given without a dash are kept so and matched
// with or without it, on the command line as in the queries.
TEST(MSyntaxTest, FlagNamesAreCheckedAndMatchedWithOrWithoutADash) {
    MSyntax s;
    EXPECT_TRUE(s.addFlag("-f", "-file", MSyntax::kString));
    EXPECT_FALSE(s.addFlag("-f", "-other"));
    EXPECT_FALSE(s.addFlag("-o", "-file"));
    EXPECT_FALSE(s.addFlag("f", "-fresh")) << "taken without its dash";
    EXPECT_FALSE(s.addFlag("-toolong", "-t"));
    EXPECT_FALSE(s.addFlag("-", "-empty"));
    ASSERT_TRUE(s.addFlag("xPv", "xPivot", MSyntax::kDouble));
    ASSERT_TRUE(s.addFlag("-sm", "-sMeshName", MSyntax::kString));
    MArgList args;
    for (const char* w : {"-xPv", "2.5", "-sMeshName", "mesh1"})
        args.addArg(MString(w));
    MStatus st;
    MArgDatabase db(s, args, &st);
    ASSERT_TRUE(st);
    double x = 0.0;
    MString mesh;
    EXPECT_TRUE(db.isFlagSet("xPv") && db.isFlagSet("-xPivot"));
    EXPECT_FALSE(db.isFlagSet("yPv") || db.isFlagSet("file"));
    EXPECT_TRUE(db.getFlagArgument("xPivot", 0, x));
    EXPECT_EQ(x, 2.5);
    EXPECT_TRUE(db.getFlagArgument("sm", 0, mesh));
    EXPECT_EQ(mesh, "mesh1");
}

} // namespace
