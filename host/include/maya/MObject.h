// Stand-in for Maya's MObject: an opaque handle to an object the host owns (a node, an
// attribute, a data object, the plug-in). Handles compare equal when they refer to the same
// object. A handle to a node stays valid only while the node exists.
#pragma once

#include <maya/MFn.h>
#include <maya/MStatus.h>
#include <maya/MTypes.h>

#include <memory>

namespace mhost {
struct Object;
}

class OPENMAYA_EXPORT MObject {
  public:
    MObject();
    MObject(const MObject& other);
    ~MObject();
    MObject& operator=(const MObject& other);

    bool hasFn(MFn::Type fs) const;
    bool isNull() const;
    MFn::Type apiType() const;
    const char* apiTypeStr() const;
    bool operator==(const MObject& other) const;
    bool operator!=(const MObject& other) const;

    static const MObject kNullObj;

    // Host side only: the object this handle refers to.
    explicit MObject(std::shared_ptr<mhost::Object> object);
    const std::shared_ptr<mhost::Object>& hostObject() const { return fObject; }

  private:
    std::shared_ptr<mhost::Object> fObject;
};
