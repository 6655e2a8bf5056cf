// An offscreen OpenGL context for the `gl` test tier.
//
// Creates a legacy (compatibility) desktop GL context without a window: EGL on Mesa's
// surfaceless platform with a small pbuffer, which needs no X server and no GPU. GLEW's entry
// points (frame buffers and the rest beyond GL 1.1) are loaded once the context is current. Tests call
// KELNO_REQUIRE_GL_CONTEXT(context) first; when no context can be made the test is skipped with
// the reason, so the skip count stays visible in CTest's summary.
#pragma once

#include <string>

namespace KelnoTest {

class GLTestContext {
  public:
    // Makes a context with a width x height pbuffer current on the calling thread.
    GLTestContext(int width = 64, int height = 64);
    ~GLTestContext();
    GLTestContext(const GLTestContext&) = delete;
    GLTestContext& operator=(const GLTestContext&) = delete;

    bool valid() const { return m_valid; }
    // Why no context could be made (empty when valid()).
    const std::string& reason() const { return m_reason; }

  private:
    bool m_valid = false;
    std::string m_reason;
    void* m_display = nullptr;
    void* m_surface = nullptr;
    void* m_context = nullptr;
};

} // namespace KelnoTest

#define KELNO_REQUIRE_GL_CONTEXT(context)                                                                    \
    do {                                                                                                     \
        if (!(context).valid())                                                                              \
            GTEST_SKIP() << "no OpenGL context: " << (context).reason();                                     \
    } while (0)
