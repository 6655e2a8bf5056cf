// Host utility layer: the thin free functions over the Maya API that every node and command
// of the plug-in uses.
//
//   Create*Attr      one-call attribute creation. Each takes the attribute function set, the
//                    static MObject that receives the attribute, the long and the short name
//                    (the plug-in passes the same string for both) and, for most, a default.
//                    On return the function set is attached to the new attribute, so the
//                    caller sets further flags through it and then calls MPxNode::addAttribute.
//                    The helpers set no flags of their own: every attribute keeps the host's
//                    defaults (readable, writable, connectable, storable, not keyable, not
//                    hidden) unless the caller changes them.
//   lookups          node names <-> MObject / MDagPath, plugs by name, connected nodes.
//   MakePadding      zero-padded frame numbers for file names.
//   KFileExist       whether a path exists.
//   KCurrentTime     the scene's current time in frames of the current time unit.
//   KGetAttr3        reads a three-child compound plug (a colour) into a Kelno value type.
//   mPrint           shows a value in the Script Editor.
//   KELNO_CHECK_MSTATUS  the status check after addAttribute: reports and carries on.
#pragma once

#include "KMayaExport.h"

#include <kelno/KTypes.h>

#include <maya/MDagPath.h>
#include <maya/MFnEnumAttribute.h>
#include <maya/MFnMatrixAttribute.h>
#include <maya/MFnNumericAttribute.h>
#include <maya/MFnTypedAttribute.h>
#include <maya/MFnUnitAttribute.h>
#include <maya/MGlobal.h>
#include <maya/MObject.h>
#include <maya/MObjectArray.h>
#include <maya/MPlug.h>
#include <maya/MPlugArray.h>
#include <maya/MStatus.h>
#include <maya/MString.h>

#include <sstream>

namespace Kelno {

// ---- attribute creation ---------------------------------------------------------------------

KELNO_MAYA_API void CreateBoolAttr(MFnNumericAttribute& fn, MObject& attr, const MString& longName,
                                   const MString& shortName, bool defaultValue);
KELNO_MAYA_API void CreateIntAttr(MFnNumericAttribute& fn, MObject& attr, const MString& longName,
                                  const MString& shortName, int defaultValue);
KELNO_MAYA_API void CreateFloatAttr(MFnNumericAttribute& fn, MObject& attr, const MString& longName,
                                    const MString& shortName, float defaultValue);
KELNO_MAYA_API void CreateDoubleAttr(MFnNumericAttribute& fn, MObject& attr, const MString& longName,
                                     const MString& shortName, double defaultValue);
// Two double children, both defaulting to defaultValue.
KELNO_MAYA_API void CreateD2Attr(MFnNumericAttribute& fn, MObject& attr, const MString& longName,
                                 const MString& shortName, double defaultValue);
// Three double children, all defaulting to defaultValue.
KELNO_MAYA_API void CreateD3Attr(MFnNumericAttribute& fn, MObject& attr, const MString& longName,
                                 const MString& shortName, double defaultValue);
// Three float children, all defaulting to defaultValue.
KELNO_MAYA_API void CreateF3Attr(MFnNumericAttribute& fn, MObject& attr, const MString& longName,
                                 const MString& shortName, float defaultValue);
// A colour (three float children R, G, B); callers set the default with setDefault(r, g, b).
KELNO_MAYA_API void CreateColorAttr(MFnNumericAttribute& fn, MObject& attr, const MString& longName,
                                    const MString& shortName);
// An enum whose default is the field index defaultValue; callers add the fields with addField.
KELNO_MAYA_API void CreateEnumAttr(MFnEnumAttribute& fn, MObject& attr, const MString& longName,
                                   const MString& shortName, int defaultValue);
KELNO_MAYA_API void CreateStringAttr(MFnTypedAttribute& fn, MObject& attr, const MString& longName,
                                     const MString& shortName, MString defaultValue);
KELNO_MAYA_API void CreateIArrayAttr(MFnTypedAttribute& fn, MObject& attr, const MString& longName,
                                     const MString& shortName);
KELNO_MAYA_API void CreateMeshAttr(MFnTypedAttribute& fn, MObject& attr, const MString& longName,
                                   const MString& shortName);
KELNO_MAYA_API void CreateMatrixAttr(MFnMatrixAttribute& fn, MObject& attr, const MString& longName,
                                     const MString& shortName);
// A time; defaultValue is in the current time unit (frames at the default 24 fps).
KELNO_MAYA_API void CreateTimeAttr(MFnUnitAttribute& fn, MObject& attr, const MString& longName,
                                   const MString& shortName, double defaultValue);

// ---- lookups --------------------------------------------------------------------------------
// Names that match nothing give null objects, invalid paths and null plugs; callers test them.

// The dependency node of that name.
KELNO_MAYA_API MObject NodeNameToMObject(const MString& name);
// The DAG path of the DAG node of that name ("name" or "|parent|name").
KELNO_MAYA_API MDagPath NodeNameToDagPath(const MString& name);
KELNO_MAYA_API MString MObjectToNodeName(const MObject& node);
// The node at the end of the path.
KELNO_MAYA_API MObject DagPathToMObject(const MDagPath& path);
// The plug of attrName on the node nodeName (e.g. "time1", "outTime"); kInvalidParameter and a
// null plug when either is unknown.
KELNO_MAYA_API MStatus GetPlugByName(const MString& nodeName, const MString& attrName, MPlug& plug);
// The nodes and plugs connected to the attribute of the node (element `index` of an array
// attribute, the attribute itself otherwise), on the side(s) asked for; both arrays are
// cleared first. kInvalidParameter when the node has no such attribute.
KELNO_MAYA_API MStatus GetConnections(const MObject& node, const MString& attrName, int index, bool asSource,
                                      bool asDestination, MObjectArray& nodes, MPlugArray& plugs);

// ---- utilities ------------------------------------------------------------------------------

// The number written in decimal, padded on the left with "0" to width characters (a wider
// number is written in full; a negative one as "%0*d" writes it, the sign counting towards the
// width).
KELNO_MAYA_API MString MakePadding(int number, int width);
// True when something exists at the path (file or folder).
KELNO_MAYA_API bool KFileExist(const char* path);
// The host's current animation time, in frames of the current time unit.
KELNO_MAYA_API float KCurrentTime();

// Writes "\nAPI error detected in <file> at line <line>\n" to standard error and calls
// status.perror(""), as the devkit's CHECK_MSTATUS does. Used through KELNO_CHECK_MSTATUS.
KELNO_MAYA_API void ReportApiError(const MStatus& status, const char* file, int line);

// ---- templates ------------------------------------------------------------------------------

namespace detail {
inline float& member3(KColor& c, int i) { return i == 0 ? c.r : (i == 1 ? c.g : c.b); }
inline float& member3(KVector& v, int i) { return v[i]; }
} // namespace detail

// Reads the three children of attr on node (child 0, 1, 2, each with MPlug::getValue(float&))
// into the first, second and third float member of value (r, g, b of a KColor). A child that
// cannot be read shows "Error@KGetAttr3(): Failed to get value of the plug." and leaves that
// member as it was; the others are still read. Returns kFailure when any child failed.
template <typename T> MStatus KGetAttr3(const MObject& node, const MObject& attr, T& value) {
    MPlug plug(node, attr);
    MStatus result = MS::kSuccess;
    for (unsigned int i = 0; i < 3; ++i) {
        MStatus status;
        MPlug child = plug.child(i, &status);
        float component = 0.0f;
        if (status)
            status = child.getValue(component);
        if (!status) {
            MGlobal::displayError("Error@KGetAttr3(): Failed to get value of the plug.");
            result = MS::kFailure;
            continue;
        }
        detail::member3(value, static_cast<int>(i)) = component;
    }
    return result;
}

// Shows the value, as its stream operator writes it, with MGlobal::displayInfo.
template <typename T> void mPrint(const T& value) {
    std::ostringstream text;
    text << value;
    MGlobal::displayInfo(MString(text.str().c_str()));
}

} // namespace Kelno

// The status check the nodes apply after every MPxNode::addAttribute: on failure, reports the
// source file and line and the status, and carries on.
#define KELNO_CHECK_MSTATUS(_status)                                                                         \
    do {                                                                                                     \
        const MStatus _kelno_status = (_status);                                                             \
        if (MStatus::kSuccess != _kelno_status)                                                              \
            ::Kelno::ReportApiError(_kelno_status, __FILE__, __LINE__);                                      \
    } while (0)
