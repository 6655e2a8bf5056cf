// Stand-in for Maya's MDagPath: a path from the world down to one DAG node, through each
// parent.
#pragma once

#include <maya/MObject.h>
#include <maya/MString.h>

#include <vector>

class MMatrix;

// The per-path drawing overrides (display layers, the object's drawing-override attributes):
// what getDrawOverrideInfo answers. The stand-in keeps one per node; tests set it through
// <host/HostDraw.h>.
class OPENMAYA_EXPORT MDAGDrawOverrideInfo {
  public:
    enum DrawOverrideDisplayType { kDisplayTypeNormal, kDisplayTypeReference, kDisplayTypeTemplate };
    enum DrawOverrideLOD { kLODFull, kLODBoundingBox };

    MDAGDrawOverrideInfo()
        : fOverrideEnabled(false), fDisplayType(kDisplayTypeNormal), fLOD(kLODFull), fEnableShading(true),
          fEnableTexturing(true), fEnableVisible(true), fPlaybackVisible(true) {}

    bool fOverrideEnabled;
    DrawOverrideDisplayType fDisplayType;
    DrawOverrideLOD fLOD;
    bool fEnableShading;
    bool fEnableTexturing;
    bool fEnableVisible;
    bool fPlaybackVisible;
};

class OPENMAYA_EXPORT MDagPath {
  public:
    MDagPath();
    MDagPath(const MDagPath& src);
    ~MDagPath();
    MDagPath& operator=(const MDagPath& src);
    bool operator==(const MDagPath& other) const;

    static MStatus getAPathTo(const MObject& node, MDagPath& path);

    bool hasFn(MFn::Type type, MStatus* ReturnStatus = NULL) const;
    MFn::Type apiType(MStatus* ReturnStatus = NULL) const;
    bool isValid(MStatus* ReturnStatus = NULL) const;
    MObject node(MStatus* ReturnStatus = NULL) const;
    MObject transform(MStatus* ReturnStatus = NULL) const;
    unsigned int length(MStatus* ReturnStatus = NULL) const;
    // A path to a shape is left as it is. A path to a transform is extended to the one shape
    // below it that is not an intermediate object; kFailure (path unchanged) when there is no
    // such shape or more than one.
    MStatus extendToShape();
    MStatus push(const MObject& child);
    MStatus pop(unsigned int num = 1);
    unsigned int childCount(MStatus* ReturnStatus = NULL) const;
    MObject child(unsigned int i, MStatus* ReturnStatus = NULL) const;
    MString fullPathName(MStatus* ReturnStatus = NULL) const;
    MString partialPathName(MStatus* ReturnStatus = NULL) const;
    MMatrix inclusiveMatrix(MStatus* ReturnStatus = NULL) const;
    MMatrix exclusiveMatrix(MStatus* ReturnStatus = NULL) const;
    MMatrix inclusiveMatrixInverse(MStatus* ReturnStatus = NULL) const;
    // The overrides of the first node from the end of the path up that has them enabled; the
    // defaults (nothing enabled) when none has.
    MDAGDrawOverrideInfo getDrawOverrideInfo() const;

  private:
    std::vector<MObject> fNodes;
};
