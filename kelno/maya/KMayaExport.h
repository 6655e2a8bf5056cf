// Export macro for the Maya helpers library (libKelnoMayaBase2018), as KelnoExport.h is for
// the core library: functions defined in its .cpp files carry KELNO_MAYA_API.
#pragma once

#if defined(_WIN32)
#if defined(KELNO_BUILDING_MAYA_BASE)
#define KELNO_MAYA_API __declspec(dllexport)
#else
#define KELNO_MAYA_API __declspec(dllimport)
#endif
#else
#define KELNO_MAYA_API __attribute__((visibility("default")))
#endif
