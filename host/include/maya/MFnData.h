// Stand-in for Maya's MFnData: the base of the data function sets and the list of data types
// that typed attributes hold.
#pragma once

#include <maya/MFnBase.h>

class OPENMAYA_EXPORT MFnData : public MFnBase {
  public:
    enum Type {
        kInvalid,
        kNumeric,
        kPlugin,
        kPluginGeometry,
        kString,
        kMatrix,
        kStringArray,
        kDoubleArray,
        kFloatArray,
        kIntArray,
        kPointArray,
        kVectorArray,
        kMatrixArray,
        kComponentList,
        kMesh,
        kLattice,
        kNurbsCurve,
        kNurbsSurface,
        kSphere,
        kDynArrayAttrs,
        kDynSweptGeometry,
        kSubdSurface,
        kNObject,
        kNId,
        kAny,
        kLast
    };

    MFnData();
    ~MFnData() override;
    MFn::Type type() const override;
};
