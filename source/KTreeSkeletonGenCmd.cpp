#include "KTreeSkeletonGenCmd.h"

#include "KTreeSkeletonGen.h"

#include <kelno/maya/KMayaMesh.h>
#include <kelno/maya/KMayaUtils.h>

#include <maya/MFnDagNode.h>
#include <maya/MFnDependencyNode.h>
#include <maya/MFnIntArrayData.h>
#include <maya/MFnNurbsCurve.h>
#include <maya/MGlobal.h>
#include <maya/MObject.h>
#include <maya/MPlug.h>
#include <maya/MPoint.h>
#include <maya/MSpace.h>

#include <algorithm>
#include <exception>
#include <iostream>

MString KTreeSkeletonGenCmd::commandName("KTreeSkeletonGenCmd");

namespace {
const char* const kNodeNameFlag = "-nN";
const char* const kNodeNameFlagLong = "-nodeName";
} // namespace

KTreeSkeletonGenCmd::KTreeSkeletonGenCmd() : m_mainBranch(0), m_curveCount(0) {}
KTreeSkeletonGenCmd::~KTreeSkeletonGenCmd() {}

void* KTreeSkeletonGenCmd::creator() { return new KTreeSkeletonGenCmd(); }

MSyntax KTreeSkeletonGenCmd::newSyntax() {
    MSyntax syntax;
    syntax.addFlag(kNodeNameFlag, kNodeNameFlagLong, MSyntax::kString);
    return syntax;
}

bool KTreeSkeletonGenCmd::isUndoable() const { return false; }

MStatus KTreeSkeletonGenCmd::doIt(const MArgList& args) {
    try {
        MStatus status;
        MArgDatabase argData(syntax(), args, &status);
        if (!status)
            return MS::kFailure;
        const MString name = getNodeName(argData);
        return generate(name) ? MS::kSuccess : MS::kFailure;
    } catch (const std::exception& e) {
        MGlobal::displayError(commandName + ": " + e.what());
    } catch (...) {
        MGlobal::displayError(commandName + ": unexpected exception");
    }
    return MS::kFailure;
}

MString KTreeSkeletonGenCmd::getNodeName(const MArgDatabase& argData) {
    MString name;
    if (argData.isFlagSet(kNodeNameFlag))
        argData.getFlagArgument(kNodeNameFlag, 0, name);
    else
        MGlobal::displayError(commandName + ": No -nodeName flag.");
    return name;
}

bool KTreeSkeletonGenCmd::generate(const MString& nodeName) {
    MObject node = nodeName.length() > 0 ? Kelno::NodeNameToMObject(nodeName) : MObject();
    MFnDependencyNode nodeFn;
    KTreeSkeletonGen* skeletonNode = nullptr;
    if (!node.isNull() && nodeFn.setObject(node) && nodeFn.typeId() == KTreeSkeletonGen::nodeTypeId)
        skeletonNode = dynamic_cast<KTreeSkeletonGen*>(nodeFn.userNode());
    if (!skeletonNode) {
        MGlobal::displayError(commandName + ": \"" + nodeName + "\" is not a " +
                              KTreeSkeletonGen::nodeTypeName + " node.");
        return false;
    }
    // Pull a compute, so that the chains match the node's current inputs.
    float ignored = 0.0f;
    MPlug(node, KTreeSkeletonGen::output).getValue(ignored);
    const std::vector<Kelno::KVectorArray>& chains = *skeletonNode->getSkeletons();

    m_curveCount = static_cast<int>(chains.size());
    m_curveNames.clear();
    m_curves.clear();
    for (int i = 0; i < m_curveCount; ++i) {
        MPointArray points;
        Kelno::Copy(points, chains[static_cast<size_t>(i)]);
        MStatus status;
        MFnNurbsCurve curveFn;
        MObject transform = curveFn.createWithEditPoints(points, 3, MFnNurbsCurve::kOpen, false, true, true,
                                                         MObject::kNullObj, &status);
        if (!status || transform.isNull()) {
            MGlobal::displayError(commandName + ": " + static_cast<double>(i) + " curve in " + nodeName +
                                  " failed.");
            std::cout << commandName.asChar() << ": " << i << " curve in " << nodeName.asChar() << " failed."
                      << std::endl;
            return false;
        }
        MObject shape = MFnDagNode(transform).child(0);
        m_curves.append(shape);
        m_curveNames.append(MFnDependencyNode(shape).name());
    }

    m_mainBranch = findMainBranch();
    findParentCurve();
    findParentKnot();

    MFnIntArrayData data;
    MObject curvesData = data.create(m_parentCurves);
    MPlug(node, KTreeSkeletonGen::parentCurves).setValue(curvesData);
    MObject cvsData = data.create(m_parentCVs);
    MPlug(node, KTreeSkeletonGen::parentCVs).setValue(cvsData);
    MObject countsData = data.create(m_curveNumCVs);
    MPlug(node, KTreeSkeletonGen::curveNumCVs).setValue(countsData);

    setResult(m_curveNames);
    return true;
}

int KTreeSkeletonGenCmd::findMainBranch() {
    if (m_curveCount == 0)
        return 0;
    float best = 0.0f;
    int index = 0;
    for (int i = 0; i < m_curveCount; ++i) {
        const float length =
            static_cast<float>(MFnNurbsCurve(m_curves[static_cast<unsigned int>(i)]).length(0.001));
        best = std::max(best, length);
        if (length == best)
            index = i;
    }
    return index;
}

void KTreeSkeletonGenCmd::findParentCurve() {
    m_rootPoints.setLength(static_cast<unsigned int>(m_curveCount));
    m_parentCurves.setLength(static_cast<unsigned int>(m_curveCount));
    m_curveNumCVs.setLength(static_cast<unsigned int>(m_curveCount));
    if (m_curveCount == 0)
        return;
    const MObject mainCurve = m_curves[static_cast<unsigned int>(m_mainBranch)];
#pragma omp parallel for schedule(static)
    for (int i = 0; i < m_curveCount; ++i) {
        const unsigned int ui = static_cast<unsigned int>(i);
        MFnNurbsCurve curveFn(m_curves[ui]);
        m_curveNumCVs[ui] = curveFn.numCVs();
        if (i == m_mainBranch) {
            m_parentCurves[ui] = -1;
            continue;
        }
        MFnNurbsCurve mainFn(mainCurve);
        MPoint first, last;
        curveFn.getCV(0, first, MSpace::kWorld);
        curveFn.getCV(static_cast<unsigned int>(curveFn.numCVs() - 1), last, MSpace::kWorld);
        if (mainFn.distanceToPoint(last) < mainFn.distanceToPoint(first)) {
            m_rootPoints[ui] = last;
            curveFn.reverse();
            curveFn.updateCurve();
        } else {
            m_rootPoints[ui] = first;
        }
        float best = 1e30f;
        int parent = 0;
        for (int j = 0; j < m_curveCount; ++j) {
            if (j == i)
                continue;
            const float d = static_cast<float>(
                MFnNurbsCurve(m_curves[static_cast<unsigned int>(j)]).distanceToPoint(m_rootPoints[ui]));
            if (d <= best) {
                best = d;
                parent = j;
            }
        }
        m_parentCurves[ui] = parent;
    }
}

void KTreeSkeletonGenCmd::findParentKnot() {
    m_parentCVs.setLength(static_cast<unsigned int>(m_curveCount));
#pragma omp parallel for schedule(static)
    for (int i = 0; i < m_curveCount; ++i) {
        const unsigned int ui = static_cast<unsigned int>(i);
        if (i == m_mainBranch) {
            m_parentCVs[ui] = 0;
            continue;
        }
        MPointArray cvs;
        MFnNurbsCurve(m_curves[static_cast<unsigned int>(m_parentCurves[ui])]).getCVs(cvs);
        float best = 1e30f;
        int index = 0;
        for (unsigned int k = 0; k < cvs.length(); ++k) {
            const MPoint& root = m_rootPoints[ui];
            const double dx = cvs[k].x - root.x, dy = cvs[k].y - root.y, dz = cvs[k].z - root.z;
            const float d2 = static_cast<float>(dx * dx + dy * dy + dz * dz);
            if (d2 <= best) {
                best = d2;
                index = static_cast<int>(k);
            }
        }
        m_parentCVs[ui] = index;
    }
}
