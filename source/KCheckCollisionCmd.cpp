#include "KCheckCollisionCmd.h"

#include <kelno/KCollision.h>
#include <kelno/KMesh.h>
#include <kelno/KTriMeshDistTree.h>
#include <kelno/maya/KMayaMesh.h>
#include <kelno/maya/KMayaUtils.h>

#include <maya/MDagPath.h>
#include <maya/MDagPathArray.h>
#include <maya/MFn.h>
#include <maya/MFnMesh.h>
#include <maya/MGlobal.h>
#include <maya/MIntArray.h>
#include <maya/MItSelectionList.h>
#include <maya/MObject.h>
#include <maya/MObjectArray.h>
#include <maya/MSelectionList.h>
#include <maya/MStringArray.h>

#include <exception>

MString KCheckCollisionCmd::commandName("KCheckCollisionCmd");

KCheckCollisionCmd::KCheckCollisionCmd() {}
KCheckCollisionCmd::~KCheckCollisionCmd() {}

void* KCheckCollisionCmd::creator() { return new KCheckCollisionCmd(); }

MSyntax KCheckCollisionCmd::newSyntax() { return MSyntax(); }

bool KCheckCollisionCmd::isUndoable() const { return false; }

MStatus KCheckCollisionCmd::redoIt() { return m_modifier.doIt(); }

MStatus KCheckCollisionCmd::undoIt() { return m_modifier.undoIt(); }

MStatus KCheckCollisionCmd::doIt(const MArgList&) {
    try {
        return run();
    } catch (const std::exception& e) {
        MGlobal::displayError(MString("Error@KCheckCollisionCmd: ") + e.what());
    } catch (...) {
        MGlobal::displayError("Error@KCheckCollisionCmd: unexpected failure");
    }
    return MS::kFailure;
}

MStatus KCheckCollisionCmd::run() {
    // Gather the selected transforms whose shape is a mesh, in selection order.
    MSelectionList selection;
    MGlobal::getActiveSelectionList(selection);
    MObjectArray meshObjects;
    MDagPathArray meshPaths;
    MIntArray vertexCounts;
    MItSelectionList it(selection, MFn::kTransform);
    for (it.reset(); !it.isDone(); it.next()) {
        MDagPath path;
        it.getDagPath(path);
        path.extendToShape();
        MObject object = Kelno::DagPathToMObject(path);
        if (object.apiType() != MFn::kMesh)
            continue;
        meshObjects.append(object);
        meshPaths.append(path);
        vertexCounts.append(MFnMesh(object).numVertices());
    }

    MStringArray pathNames;
    Kelno::KIntArray meshIndexOfVertex;
    Kelno::KIntArray localIndexOfVertex;
    for (unsigned int m = 0; m < meshPaths.length(); ++m) {
        pathNames.append(meshPaths[m].fullPathName());
        for (int v = 0; v < vertexCounts[m]; ++v) {
            meshIndexOfVertex.push_back(static_cast<int>(m));
            localIndexOfVertex.push_back(v);
        }
    }

    Kelno::KTriMesh merged;
    Kelno::Convert(merged, meshObjects);
    Kelno::KTriMeshDistTree tree(10, 10);
    tree.set(merged);
    Kelno::KTriMeshConnectionInfo connections;
    connections.set(merged);
    connections.calculate_t2v();
    connections.calculate_v2e();
    connections.calculate_e2v();
    Kelno::KIntArray hit;
    Kelno::FindIntersectingEdges(merged, tree, connections, hit);

    Kelno::KIntArray vertices;
    Kelno::CollidingVertices(connections, hit, merged.vertexCount(), vertices);
    MString command("select -r ");
    for (int v : vertices) {
        // The merged vertices line up with the index arrays; one beyond them names nothing.
        if (v >= meshIndexOfVertex.length())
            break;
        command += pathNames[static_cast<unsigned int>(meshIndexOfVertex[v])];
        command += ".vtx[";
        command += localIndexOfVertex[v];
        command += "] ";
    }
    command += ";";
    m_modifier.commandToExecute(command);

    MString summary("Total ");
    summary += Kelno::CountHits(hit);
    summary += " edges are intersecting with triangles.";
    Kelno::mPrint(summary);

    return redoIt();
}
