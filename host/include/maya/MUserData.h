// Stand-in for Maya's MUserData: the base of data a draw override hands from prepareForDraw to
// its draw callback. With deleteAfterUse false the host keeps the object and passes it back as
// oldData at the next prepareForDraw of the same path; it deletes it with the override.
#pragma once

#include <maya/MTypes.h>

class OPENMAYA_EXPORT MUserData {
  public:
    MUserData(bool deleteAfterUse);
    virtual ~MUserData();

    bool deleteAfterUse() const;
    void setDeleteAfterUse(bool shouldDelete);

  private:
    bool fDeleteAfterUse;
};
