// Stand-in for Maya's MHWRender::MStateManager: the renderer's GPU state manager. The host makes
// one for each draw context; plug-ins only test that the context has one.
#pragma once

#include <maya/MTypes.h>

namespace mhost {
struct DrawAccess;
}

namespace MHWRender {

class OPENMAYA_EXPORT MStateManager {
  private:
    MStateManager() {}
    ~MStateManager() {}
    MStateManager(const MStateManager&);
    MStateManager& operator=(const MStateManager&);
    friend struct mhost::DrawAccess;
};

} // namespace MHWRender
