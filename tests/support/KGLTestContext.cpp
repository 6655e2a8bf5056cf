#include "KGLTestContext.h"

#include <GL/glew.h>

#include <EGL/egl.h>
#include <EGL/eglext.h>

namespace KelnoTest {

namespace {

EGLDisplay openDisplay() {
    // Surfaceless first (no X server needed); the default display otherwise.
    auto getPlatformDisplay =
        reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(eglGetProcAddress("eglGetPlatformDisplayEXT"));
    if (getPlatformDisplay) {
        EGLDisplay display = getPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
        if (display != EGL_NO_DISPLAY && eglInitialize(display, nullptr, nullptr))
            return display;
    }
    EGLDisplay display = eglGetDisplay(EGL_DEFAULT_DISPLAY);
    if (display != EGL_NO_DISPLAY && eglInitialize(display, nullptr, nullptr))
        return display;
    return EGL_NO_DISPLAY;
}

} // namespace

GLTestContext::GLTestContext(int width, int height) {
    EGLDisplay display = openDisplay();
    if (display == EGL_NO_DISPLAY) {
        m_reason = "EGL could not open a display (surfaceless or default)";
        return;
    }
    m_display = display;
    if (!eglBindAPI(EGL_OPENGL_API)) {
        m_reason = "EGL has no desktop OpenGL API";
        return;
    }
    const EGLint configAttributes[] = {EGL_SURFACE_TYPE,
                                       EGL_PBUFFER_BIT,
                                       EGL_RED_SIZE,
                                       8,
                                       EGL_GREEN_SIZE,
                                       8,
                                       EGL_BLUE_SIZE,
                                       8,
                                       EGL_ALPHA_SIZE,
                                       8,
                                       EGL_DEPTH_SIZE,
                                       24,
                                       EGL_RENDERABLE_TYPE,
                                       EGL_OPENGL_BIT,
                                       EGL_NONE};
    EGLConfig config = nullptr;
    EGLint count = 0;
    if (!eglChooseConfig(display, configAttributes, &config, 1, &count) || count < 1) {
        m_reason = "EGL found no pbuffer configuration with desktop OpenGL";
        return;
    }
    const EGLint surfaceAttributes[] = {EGL_WIDTH, width, EGL_HEIGHT, height, EGL_NONE};
    EGLSurface surface = eglCreatePbufferSurface(display, config, surfaceAttributes);
    if (surface == EGL_NO_SURFACE) {
        m_reason = "EGL could not create a pbuffer";
        return;
    }
    m_surface = surface;
    // No attributes: the default is a context with the legacy fixed-function pipeline.
    EGLContext context = eglCreateContext(display, config, EGL_NO_CONTEXT, nullptr);
    if (context == EGL_NO_CONTEXT) {
        m_reason = "EGL could not create an OpenGL context";
        return;
    }
    m_context = context;
    if (!eglMakeCurrent(display, surface, surface, context)) {
        m_reason = "EGL could not make the context current";
        return;
    }
    // The entry points beyond GL 1.1 (frame buffers, ...), as the plug-in loads them at start.
    // glewInit may report that there is no GLX display; the GL entry points are loaded before
    // that check, so success is judged by one of them.
    glewInit();
    if (!glGenFramebuffers) {
        m_reason = "GLEW could not load the GL 3.0 entry points";
        return;
    }
    m_valid = true;
}

GLTestContext::~GLTestContext() {
    if (!m_display)
        return;
    EGLDisplay display = static_cast<EGLDisplay>(m_display);
    eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    if (m_context)
        eglDestroyContext(display, static_cast<EGLContext>(m_context));
    if (m_surface)
        eglDestroySurface(display, static_cast<EGLSurface>(m_surface));
    eglTerminate(display);
}

} // namespace KelnoTest
