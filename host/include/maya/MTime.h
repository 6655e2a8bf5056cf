// Stand-in for Maya's MTime: an amount of time with a unit. The host keeps one user
// interface unit (uiUnit); a new scene starts in film (24 frames per second). A time built from
// a value alone is in film units, whatever the user interface unit is; the default
// constructor gives zero in the user interface unit.
#pragma once

#include <maya/MStatus.h>
#include <maya/MTypes.h>

#include <ostream>

class OPENMAYA_EXPORT MTime {
  public:
    enum Unit {
        kInvalid,
        kHours,
        kMinutes,
        kSeconds,
        kMilliseconds,
        kGames,     // 15 fps
        kFilm,      // 24 fps
        kPALFrame,  // 25 fps
        kNTSCFrame, // 30 fps
        kShowScan,  // 48 fps
        kPALField,  // 50 fps
        kNTSCField, // 60 fps
        k2FPS,
        k3FPS,
        k4FPS,
        k5FPS,
        k6FPS,
        k8FPS,
        k10FPS,
        k12FPS,
        k16FPS,
        k20FPS,
        k40FPS,
        k75FPS,
        k80FPS,
        k100FPS,
        k120FPS,
        k125FPS,
        k150FPS,
        k200FPS,
        k240FPS,
        k250FPS,
        k300FPS,
        k375FPS,
        k400FPS,
        k500FPS,
        k600FPS,
        k750FPS,
        k1200FPS,
        k1500FPS,
        k2000FPS,
        k3000FPS,
        k6000FPS,
        k23_976FPS,
        k29_97FPS,
        k29_97DF,
        k47_952FPS,
        k59_94FPS,
        k44100FPS,
        k48000FPS,
        k90FPS,
        kUserDef,
        kLast
    };

    MTime();
    MTime(double value, Unit unit = kFilm);
    MTime(const MTime& src) = default;
    MTime& operator=(const MTime& src) = default;

    Unit unit() const { return valUnit; }
    double value() const { return val; }
    MStatus setUnit(Unit newUnit);
    MStatus setValue(double newValue);
    double as(Unit otherUnit) const;
    double asUnits(Unit otherUnit) const { return as(otherUnit); }

    MTime operator+(const MTime& rhs) const;
    MTime operator-(const MTime& rhs) const;
    MTime operator+(double rhs) const;
    MTime operator-(double rhs) const;
    MTime operator*(double rhs) const;
    MTime operator/(double rhs) const;
    MTime& operator+=(const MTime& rhs);
    MTime& operator-=(const MTime& rhs);
    MTime& operator+=(double rhs);
    MTime& operator-=(double rhs);
    bool operator==(const MTime& rhs) const;
    bool operator!=(const MTime& rhs) const;
    bool operator<(const MTime& rhs) const;
    bool operator>(const MTime& rhs) const;
    bool operator<=(const MTime& rhs) const;
    bool operator>=(const MTime& rhs) const;

    static Unit uiUnit();
    static MStatus setUIUnit(Unit newUnit);

    friend OPENMAYA_EXPORT std::ostream& operator<<(std::ostream& os, const MTime& t);

  private:
    double val;
    Unit valUnit;
};
