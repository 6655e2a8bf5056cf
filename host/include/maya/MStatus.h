// Stand-in for Maya's MStatus: the result code of API calls, and the devkit's status-check
// macros.
#pragma once

#include <maya/MTypes.h>

#include <iostream>

class MString;

class OPENMAYA_EXPORT MStatus {
  public:
    enum MStatusCode {
        kSuccess = 0,
        kFailure,
        kInsufficientMemory,
        kInvalidParameter,
        kLicenseFailure,
        kUnknownParameter,
        kNotImplemented,
        kNotFound,
        kEndOfFile
    };

    MStatus() : fStatus(kSuccess), fInternalStatusCode(0) {}
    MStatus(MStatusCode code) : fStatus(code), fInternalStatusCode(0) {}
    MStatus(const MStatus& other) = default;
    MStatus& operator=(const MStatus& other) = default;

    bool operator==(const MStatus& other) const { return fStatus == other.fStatus; }
    bool operator==(const MStatusCode other) const { return fStatus == other; }
    bool operator!=(const MStatus& other) const { return fStatus != other.fStatus; }
    bool operator!=(const MStatusCode other) const { return fStatus != other; }
    operator bool() const { return fStatus == kSuccess; }

    bool error() const { return fStatus != kSuccess; }
    void clear() { fStatus = kSuccess; }
    MStatusCode statusCode() const { return fStatus; }
    // "(kCode): description", as the host prints statuses.
    MString errorString() const;
    // Writes "<text>: <errorString()>" (just the error string when text is empty) and a newline
    // to standard error.
    void perror(const char* text) const;
    void perror(const MString& text) const;

    friend OPENMAYA_EXPORT std::ostream& operator<<(std::ostream& os, const MStatus& status);

  private:
    MStatusCode fStatus;
    int fInternalStatusCode;
};

inline bool operator==(MStatus::MStatusCode code, const MStatus& status) { return status == code; }
inline bool operator!=(MStatus::MStatusCode code, const MStatus& status) { return status != code; }

// The devkit's short spelling: MS::kSuccess, MS::kFailure, ...
typedef MStatus MS;

#define CHECK_MSTATUS_AND_RETURN(_status, _retVal)                                                           \
    {                                                                                                        \
        MStatus _maya_status = (_status);                                                                    \
        if (MStatus::kSuccess != _maya_status) {                                                             \
            std::cerr << "\nAPI error detected in " << __FILE__ << " at line " << __LINE__ << std::endl;     \
            _maya_status.perror("");                                                                         \
            return (_retVal);                                                                                \
        }                                                                                                    \
    }

#define CHECK_MSTATUS_AND_RETURN_IT(_status) CHECK_MSTATUS_AND_RETURN((_status), (_status))

#define CHECK_MSTATUS(_status)                                                                               \
    {                                                                                                        \
        MStatus _maya_status = (_status);                                                                    \
        if (MStatus::kSuccess != _maya_status) {                                                             \
            std::cerr << "\nAPI error detected in " << __FILE__ << " at line " << __LINE__ << std::endl;     \
            _maya_status.perror("");                                                                         \
        }                                                                                                    \
    }
