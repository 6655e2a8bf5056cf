// Export macro for the shared core library (libKelnoBase).
//
// Classes and free functions defined in .cpp files of the library carry KELNO_API so the
// same headers serve Linux (symbols hidden by default) and Windows (dllexport/dllimport).
// Templates and inline members defined in headers need no marking.
#pragma once

#if defined(_WIN32)
#if defined(KELNO_BUILDING_BASE)
#define KELNO_API __declspec(dllexport)
#else
#define KELNO_API __declspec(dllimport)
#endif
#else
#define KELNO_API __attribute__((visibility("default")))
#endif
