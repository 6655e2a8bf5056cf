// Stand-in for Maya's MViewport2Renderer.h: the draw APIs and the Viewport 2.0 renderer. The
// host has one renderer; its draw API is what the frame being rendered asks for (OpenGL unless a
// test chooses another, see <host/HostDraw.h>).
#pragma once

#include <maya/MStatus.h>
#include <maya/MTypes.h>

namespace MHWRender {

enum DrawAPI {
    kNone = 0,
    kOpenGL = 1 << 0,
    kDirectX11 = 1 << 1,
    kOpenGLCoreProfile = 1 << 2,
    kAllDevices = kOpenGL | kDirectX11 | kOpenGLCoreProfile
};

class OPENMAYA_EXPORT MRenderer {
  public:
    // The renderer; never null in the stand-in.
    static MRenderer* theRenderer(bool initializeRenderer = true);

    DrawAPI drawAPI() const;
    // True for kOpenGL and kOpenGLCoreProfile.
    bool drawAPIIsOpenGL() const;

  private:
    MRenderer();
    ~MRenderer();
    MRenderer(const MRenderer&);
    MRenderer& operator=(const MRenderer&);
};

} // namespace MHWRender
