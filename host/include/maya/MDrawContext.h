// Stand-in for Maya's MHWRender::MDrawContext: the frame context of a draw callback, with the
// renderer's state manager. Only the host makes draw contexts.
#pragma once

#include <maya/MFrameContext.h>
#include <maya/MStateManager.h>

namespace MHWRender {

class OPENMAYA_EXPORT MDrawContext : public MFrameContext {
  public:
    // Null when the renderer has no state manager for this draw.
    MStateManager* getStateManager() const;

  protected:
    MDrawContext();
    ~MDrawContext() override;

  private:
    friend struct mhost::DrawAccess;
    MStateManager* fStateManager;
};

} // namespace MHWRender
