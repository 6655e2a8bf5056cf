// Stand-in for Maya's MAnimControl: the scene's current time and playback range.
#pragma once

#include <maya/MStatus.h>
#include <maya/MTime.h>

class OPENMAYA_EXPORT MAnimControl {
  public:
    // The current time (time1's output); setting it dirties everything that depends on time.
    static MTime currentTime();
    static MStatus setCurrentTime(const MTime& newTime);
    static MTime minTime();
    static MTime maxTime();
    static MStatus setMinTime(MTime newMinTime);
    static MStatus setMaxTime(MTime newMaxTime);
    static MTime animationStartTime();
    static MTime animationEndTime();
    static double playbackBy();
    static MStatus setPlaybackBy(double increment);
};
