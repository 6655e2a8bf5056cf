#include "KMayaUtils.h"

#include <kelno/KObjSequence.h>

#include <maya/MAnimControl.h>
#include <maya/MFnData.h>
#include <maya/MFnDependencyNode.h>
#include <maya/MFnNumericData.h>
#include <maya/MFnStringData.h>
#include <maya/MSelectionList.h>
#include <maya/MTime.h>

#include <sys/stat.h>

#include <iostream>

namespace Kelno {

void CreateBoolAttr(MFnNumericAttribute& fn, MObject& attr, const MString& longName, const MString& shortName,
                    bool defaultValue) {
    attr = fn.create(longName, shortName, MFnNumericData::kBoolean, defaultValue ? 1.0 : 0.0);
}
void CreateIntAttr(MFnNumericAttribute& fn, MObject& attr, const MString& longName, const MString& shortName,
                   int defaultValue) {
    attr = fn.create(longName, shortName, MFnNumericData::kInt, defaultValue);
}
void CreateFloatAttr(MFnNumericAttribute& fn, MObject& attr, const MString& longName,
                     const MString& shortName, float defaultValue) {
    attr = fn.create(longName, shortName, MFnNumericData::kFloat, defaultValue);
}
void CreateDoubleAttr(MFnNumericAttribute& fn, MObject& attr, const MString& longName,
                      const MString& shortName, double defaultValue) {
    attr = fn.create(longName, shortName, MFnNumericData::kDouble, defaultValue);
}
void CreateD2Attr(MFnNumericAttribute& fn, MObject& attr, const MString& longName, const MString& shortName,
                  double defaultValue) {
    attr = fn.create(longName, shortName, MFnNumericData::k2Double, defaultValue);
    fn.setDefault(defaultValue, defaultValue);
}
void CreateD3Attr(MFnNumericAttribute& fn, MObject& attr, const MString& longName, const MString& shortName,
                  double defaultValue) {
    attr = fn.create(longName, shortName, MFnNumericData::k3Double, defaultValue);
    fn.setDefault(defaultValue, defaultValue, defaultValue);
}
void CreateF3Attr(MFnNumericAttribute& fn, MObject& attr, const MString& longName, const MString& shortName,
                  float defaultValue) {
    attr = fn.create(longName, shortName, MFnNumericData::k3Float, defaultValue);
    fn.setDefault(defaultValue, defaultValue, defaultValue);
}
void CreateColorAttr(MFnNumericAttribute& fn, MObject& attr, const MString& longName,
                     const MString& shortName) {
    attr = fn.createColor(longName, shortName);
}
void CreateEnumAttr(MFnEnumAttribute& fn, MObject& attr, const MString& longName, const MString& shortName,
                    int defaultValue) {
    attr = fn.create(longName, shortName, static_cast<short>(defaultValue));
}
void CreateStringAttr(MFnTypedAttribute& fn, MObject& attr, const MString& longName, const MString& shortName,
                      MString defaultValue) {
    // The host takes a string attribute's default as a string data object.
    MFnStringData data;
    MObject defaultObject = data.create(defaultValue);
    attr = fn.create(longName, shortName, MFnData::kString, defaultObject);
}
void CreateIArrayAttr(MFnTypedAttribute& fn, MObject& attr, const MString& longName,
                      const MString& shortName) {
    attr = fn.create(longName, shortName, MFnData::kIntArray);
}
void CreateMeshAttr(MFnTypedAttribute& fn, MObject& attr, const MString& longName, const MString& shortName) {
    attr = fn.create(longName, shortName, MFnData::kMesh);
}
void CreateMatrixAttr(MFnMatrixAttribute& fn, MObject& attr, const MString& longName,
                      const MString& shortName) {
    attr = fn.create(longName, shortName, MFnMatrixAttribute::kDouble);
}
void CreateTimeAttr(MFnUnitAttribute& fn, MObject& attr, const MString& longName, const MString& shortName,
                    double defaultValue) {
    attr = fn.create(longName, shortName, MTime(defaultValue, MTime::uiUnit()));
}

MObject NodeNameToMObject(const MString& name) {
    MSelectionList list;
    MObject node;
    if (list.add(name) && list.length() > 0)
        list.getDependNode(0, node);
    return node;
}

MDagPath NodeNameToDagPath(const MString& name) {
    MSelectionList list;
    MDagPath path;
    if (list.add(name) && list.length() > 0)
        list.getDagPath(0, path);
    return path;
}

MString MObjectToNodeName(const MObject& node) {
    MStatus status;
    MFnDependencyNode fn(node, &status);
    return status ? fn.name() : MString();
}

MObject DagPathToMObject(const MDagPath& path) { return path.node(); }

MStatus GetPlugByName(const MString& nodeName, const MString& attrName, MPlug& plug) {
    plug = MPlug();
    MObject node = NodeNameToMObject(nodeName);
    if (node.isNull())
        return MS::kInvalidParameter;
    MStatus status;
    MFnDependencyNode fn(node, &status);
    if (!status)
        return status;
    plug = fn.findPlug(attrName, true, &status);
    return status;
}

MStatus GetConnections(const MObject& node, const MString& attrName, int index, bool asSource,
                       bool asDestination, MObjectArray& nodes, MPlugArray& plugs) {
    nodes.clear();
    plugs.clear();
    MStatus status;
    MFnDependencyNode fn(node, &status);
    if (!status)
        return status;
    MPlug plug = fn.findPlug(attrName, true, &status);
    if (!status)
        return MS::kInvalidParameter;
    if (plug.isArray() && index >= 0)
        plug = plug.elementByLogicalIndex(static_cast<unsigned int>(index));
    // An array plug asked for as a whole reports its elements' connections.
    plug.connectedTo(plugs, asDestination, asSource, &status);
    for (unsigned int i = 0; i < plugs.length(); ++i)
        nodes.append(plugs[i].node());
    return MS::kSuccess;
}

MString MakePadding(int number, int width) { return MString(PadNumber(number, width).c_str()); }

bool KFileExist(const char* path) {
    if (!path || !*path)
        return false;
    struct stat info;
    return stat(path, &info) == 0;
}

float KCurrentTime() { return static_cast<float>(MAnimControl::currentTime().as(MTime::uiUnit())); }

void ReportApiError(const MStatus& status, const char* file, int line) {
    std::cerr << "\nAPI error detected in " << file << " at line " << line << std::endl;
    status.perror("");
}

} // namespace Kelno
