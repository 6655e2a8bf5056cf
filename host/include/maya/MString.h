// Stand-in for Maya's MString: an owned UTF-8 character string.
#pragma once

#include <maya/MStatus.h>
#include <maya/MTypes.h>

#include <iosfwd>
#include <string>

class MStringArray;

class OPENMAYA_EXPORT MString {
  public:
    MString();
    MString(const char* charString);
    MString(const char* charString, int charLength);
    MString(const MString& other);
    ~MString();

    MString& operator=(const MString& other);
    MString& operator=(const char* other);
    MString& operator=(double value);

    // Appending numbers prints them as the host does: integers in decimal, floating-point
    // values like printf's "%g" (six significant digits).
    MString& operator+=(const MString& other);
    MString& operator+=(const char* other);
    MString& operator+=(double other);
    MString& operator+=(int other);
    MString& operator+=(unsigned int other);
    MString& operator+=(float other);

    MString operator+(const MString& other) const;
    MString operator+(const char* other) const;
    MString operator+(double value) const;
    MString operator+(unsigned int value) const;
    MString operator+(int value) const;
    MString operator+(float value) const;

    bool operator==(const MString& other) const;
    bool operator==(const char* other) const;
    bool operator!=(const MString& other) const;
    bool operator!=(const char* other) const;
    bool operator<(const MString& other) const;
    bool operator>(const MString& other) const;

    MStatus set(const char* charString);
    MStatus set(const char* charString, int charLength);
    MStatus set(double value);
    MStatus set(double value, int precision);

    const char* asChar() const;
    const char* asChar(int& length) const;
    const char* asUTF8() const;
    unsigned int length() const;
    unsigned int numChars() const;
    void clear();

    // Characters start to end, both inclusive; an empty string when the range is empty or
    // outside the string.
    MString substring(int start, int end) const;
    // First / last index of the character, -1 when absent.
    int index(char c) const;
    int rindex(char c) const;
    int indexW(const MString& str) const;
    int rindexW(const MString& str) const;

    // Splits at every occurrence of the character; empty pieces are dropped.
    MStatus split(char c, MStringArray& array) const;
    MStatus substitute(const MString& first, const MString& second);
    MString toLowerCase() const;
    MString toUpperCase() const;
    MString expandEnvironmentVariablesAndTilde(MStatus* ReturnStatus = NULL) const;

    bool isShort() const;
    short asShort() const;
    bool isInt() const;
    int asInt() const;
    bool isUnsigned() const;
    unsigned int asUnsigned() const;
    bool isFloat() const;
    float asFloat() const;
    bool isDouble() const;
    double asDouble() const;

    friend OPENMAYA_EXPORT MString operator+(const char* first, const MString& second);
    friend OPENMAYA_EXPORT std::ostream& operator<<(std::ostream& os, const MString& str);

  private:
    std::string* fStr;
};
