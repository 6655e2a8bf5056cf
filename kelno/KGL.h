// The one place the library includes OpenGL. GLEW comes first so its declarations of the
// extension entry points win over the system GL header; on Windows the system header needs
// <windows.h> before it.
#pragma once

#if defined(_WIN32)
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#endif

#include <GL/glew.h>

#include <GL/gl.h>
#include <GL/glu.h>
