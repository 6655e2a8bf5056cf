// Stand-in for Maya's MFnNumericData: the numeric value types of numeric attributes.
#pragma once

#include <maya/MFnData.h>

class OPENMAYA_EXPORT MFnNumericData : public MFnData {
  public:
    enum Type {
        kInvalid,
        kBoolean,
        kByte,
        kChar,
        kShort,
        k2Short,
        k3Short,
        kLong,
        kInt = kLong,
        k2Long,
        k2Int = k2Long,
        k3Long,
        k3Int = k3Long,
        kInt64,
        kAddr,
        kFloat,
        k2Float,
        k3Float,
        kDouble,
        k2Double,
        k3Double,
        k4Double,
        kLast
    };

    MFnNumericData();
    ~MFnNumericData() override;
    MFn::Type type() const override;
};
