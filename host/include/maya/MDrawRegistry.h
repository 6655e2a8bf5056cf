// Stand-in for Maya's MHWRender::MDrawRegistry: the Viewport 2.0 registry of draw-override
// creators, keyed by draw classification and registrant ID.
#pragma once

#include <maya/MObject.h>
#include <maya/MString.h>

namespace MHWRender {

class MPxDrawOverride;

class OPENMAYA_EXPORT MDrawRegistry {
  public:
    typedef MPxDrawOverride* (*DrawOverrideCreator)(const MObject& obj);

    // Fails when the classification already has a creator from the same registrant.
    static MStatus registerDrawOverrideCreator(const MString& drawClassification, const MString& registrantId,
                                               DrawOverrideCreator creator);
    static MStatus deregisterDrawOverrideCreator(const MString& drawClassification,
                                                 const MString& registrantId);

  private:
    MDrawRegistry();
};

} // namespace MHWRender
