// Stand-in for Maya's MFnBase: the base of every function set. A function set is attached to
// one object and operates on it; attaching fails (kInvalidParameter) when the object is not
// of a type the set supports.
#pragma once

#include <maya/MFn.h>
#include <maya/MObject.h>
#include <maya/MStatus.h>

class OPENMAYA_EXPORT MFnBase {
  public:
    MFnBase();
    virtual ~MFnBase();

    virtual MFn::Type type() const;
    bool hasObj(MFn::Type tp) const;
    bool hasObj(const MObject& obj) const;
    MObject object(MStatus* ReturnStatus = NULL) const;
    virtual MStatus setObject(MObject& object);
    virtual MStatus setObject(const MObject& object);

  protected:
    // Attaches when the object has the set's type; otherwise leaves the set detached.
    MStatus _attach(const MObject& object);
    MObject fObject;

  private:
    MFnBase(const MFnBase&);
    MFnBase& operator=(const MFnBase&);
};
