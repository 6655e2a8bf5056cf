// Stand-in for Maya's MThreadUtils.
#pragma once

#include <maya/MTypes.h>

class OPENMAYA_EXPORT MThreadUtils {
  public:
    // The number of threads the host lets plug-ins use (its thread pool size).
    static int getNumThreads();
    static void syncNumOpenMPThreads();
};
