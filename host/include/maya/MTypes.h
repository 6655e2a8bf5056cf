// Stand-in for Maya's basic API types header: the API version, export macros, the shared
// function-pointer types and the small fixed-size value types used across the API.
#pragma once

#include <cstddef>

#define MAYA_API_VERSION 20180000

#ifndef OPENMAYA_EXPORT
#define OPENMAYA_EXPORT
#endif

#if defined(_WIN32)
#define PLUGIN_EXPORT extern "C" __declspec(dllexport)
#else
#define PLUGIN_EXPORT extern "C" __attribute__((visibility("default")))
#endif

typedef float float2[2];
typedef float float3[3];
typedef double double2[2];
typedef double double3[3];
typedef int int2[2];
typedef int int3[3];
typedef short short2[2];
typedef short short3[3];

class MStatus;
class MSyntax;

// Factories handed to MFnPlugin.
typedef void* (*MCreatorFunction)();
typedef MStatus (*MInitializeFunction)();
typedef MSyntax (*MCreateSyntaxFunction)();
