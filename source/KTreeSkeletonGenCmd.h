// KTreeSkeletonGenCmd -nodeName <KTreeSkeletonGen node>: one cubic curve per skeleton chain of
// the node, then the branch hierarchy over the curves, written back to the node.
//
// The node is evaluated first (its "output" is read), so the chains are current. Every chain
// becomes a new curve through its centres (edit points, degree 3, open, uniform knots) under a
// new transform; the command result is the curve shapes' names in chain order. The main branch
// is the longest curve (ties to the later one). Every other curve whose last CV lies strictly
// nearer to the main branch than its first is reversed in place, so that it starts at its root;
// its parent is the nearest other curve to that root (any depth, ties to the later one) and its
// parent CV that curve's CV nearest the root (ties to the later CV). "parentCurves" (-1 for the
// main branch), "parentCVs" (0 for it) and "curveNumCVs" of the node receive the hierarchy.
//
// Failures (kFailure): a missing -nodeName ("KTreeSkeletonGenCmd: No -nodeName flag."), a name
// that is empty or names no KTreeSkeletonGen node, and a chain that cannot become a curve (a
// single point): "KTreeSkeletonGenCmd: <i> curve in <node> failed." is shown and printed, the
// curves made before it stay and the hierarchy is not written. Not undoable.
//
// The two hierarchy passes run in parallel over the curves. A branch may be reversed while
// another thread measures its distance as a candidate parent; the design accepts that overlap.
#pragma once

#include <maya/MArgDatabase.h>
#include <maya/MArgList.h>
#include <maya/MIntArray.h>
#include <maya/MObjectArray.h>
#include <maya/MPointArray.h>
#include <maya/MPxCommand.h>
#include <maya/MStatus.h>
#include <maya/MString.h>
#include <maya/MStringArray.h>
#include <maya/MSyntax.h>

class KTreeSkeletonGenCmd : public MPxCommand {
  public:
    KTreeSkeletonGenCmd();
    ~KTreeSkeletonGenCmd() override;

    static void* creator();
    static MSyntax newSyntax();
    MStatus doIt(const MArgList& args) override;
    bool isUndoable() const override;

    // The -nodeName argument, or "" after showing the missing-flag error.
    MString getNodeName(const MArgDatabase& argData);
    bool generate(const MString& nodeName);
    int findMainBranch();
    void findParentCurve();
    void findParentKnot();

    const MIntArray& parentCurves() const { return m_parentCurves; }
    const MIntArray& parentCVs() const { return m_parentCVs; }
    const MIntArray& curveNumCVs() const { return m_curveNumCVs; }

    static MString commandName;

  private:
    int m_mainBranch;
    int m_curveCount;
    MStringArray m_curveNames;
    MPointArray m_rootPoints;
    MIntArray m_parentCurves;
    MIntArray m_parentCVs;
    MIntArray m_curveNumCVs;
    MObjectArray m_curves; // the curve shapes, in chain order
};
