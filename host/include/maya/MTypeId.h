// Stand-in for Maya's MTypeId: the 32-bit identifier of a node type.
#pragma once

#include <maya/MStatus.h>
#include <maya/MTypes.h>

class OPENMAYA_EXPORT MTypeId {
  public:
    MTypeId() : fId(0) {}
    MTypeId(unsigned int id) : fId(id) {}
    // A prefix (upper 24 bits) and an id (lower 8 bits).
    MTypeId(unsigned int prefix, unsigned int id) : fId((prefix << 8) | (id & 0xff)) {}
    MTypeId(const MTypeId& src) = default;
    MTypeId& operator=(const MTypeId& src) = default;

    bool operator==(const MTypeId& other) const { return fId == other.fId; }
    bool operator!=(const MTypeId& other) const { return fId != other.fId; }
    unsigned int id(MStatus* ReturnStatus = NULL) const {
        if (ReturnStatus)
            *ReturnStatus = MS::kSuccess;
        return fId;
    }

  private:
    unsigned int fId;
};
