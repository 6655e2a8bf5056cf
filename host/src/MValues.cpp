// Value types of the host stand-in: status, strings, math types, time, object handles.
#include "HostInternal.h"

#include <maya/MMatrix.h>
#include <maya/MObject.h>
#include <maya/MPoint.h>
#include <maya/MStatus.h>
#include <maya/MString.h>
#include <maya/MStringArray.h>
#include <maya/MTime.h>
#include <maya/MVector.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>

// ---- MStatus --------------------------------------------------------------------------------

MString MStatus::errorString() const {
    switch (fStatus) {
    case kSuccess:
        return "(kSuccess): No error";
    case kFailure:
        return "(kFailure): Unexpected Internal Failure";
    case kInsufficientMemory:
        return "(kInsufficientMemory): Insufficient Memory";
    case kInvalidParameter:
        return "(kInvalidParameter): Invalid Parameter";
    case kLicenseFailure:
        return "(kLicenseFailure): License Failure";
    case kUnknownParameter:
        return "(kUnknownParameter): Unknown Parameter";
    case kNotImplemented:
        return "(kNotImplemented): Not Implemented";
    case kNotFound:
        return "(kNotFound): Not Found";
    case kEndOfFile:
        return "(kEndOfFile): End of File";
    }
    return "(kFailure): Unexpected Internal Failure";
}

void MStatus::perror(const char* text) const {
    if (text && *text)
        std::cerr << text << ": ";
    std::cerr << errorString().asChar() << std::endl;
}

void MStatus::perror(const MString& text) const { perror(text.asChar()); }

std::ostream& operator<<(std::ostream& os, const MStatus& status) { return os << status.errorString(); }

// ---- MString --------------------------------------------------------------------------------

namespace {
std::string formatNumber(double v) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%g", v);
    return buf;
}

// Whole string parsed by strto*, surrounding blanks allowed, as the host's is* tests do.
bool parsesAsLong(const std::string& s, long& out) {
    const char* b = s.c_str();
    char* e = nullptr;
    errno = 0;
    out = std::strtol(b, &e, 10);
    if (e == b || errno == ERANGE)
        return false;
    while (*e && std::isspace(static_cast<unsigned char>(*e)))
        ++e;
    return *e == '\0';
}
bool parsesAsDouble(const std::string& s, double& out) {
    const char* b = s.c_str();
    char* e = nullptr;
    out = std::strtod(b, &e);
    if (e == b)
        return false;
    while (*e && std::isspace(static_cast<unsigned char>(*e)))
        ++e;
    return *e == '\0';
}
} // namespace

MString::MString() : fStr(new std::string) {}
MString::MString(const char* s) : fStr(new std::string(s ? s : "")) {}
MString::MString(const char* s, int n) : fStr(new std::string(s ? std::string(s, s + std::max(n, 0)) : "")) {}
MString::MString(const MString& o) : fStr(new std::string(*o.fStr)) {}
MString::~MString() { delete fStr; }
MString& MString::operator=(const MString& o) {
    *fStr = *o.fStr;
    return *this;
}
MString& MString::operator=(const char* s) {
    *fStr = s ? s : "";
    return *this;
}
MString& MString::operator=(double v) {
    *fStr = formatNumber(v);
    return *this;
}
MString& MString::operator+=(const MString& o) {
    *fStr += *o.fStr;
    return *this;
}
MString& MString::operator+=(const char* s) {
    if (s)
        *fStr += s;
    return *this;
}
MString& MString::operator+=(double v) {
    *fStr += formatNumber(v);
    return *this;
}
MString& MString::operator+=(int v) {
    *fStr += std::to_string(v);
    return *this;
}
MString& MString::operator+=(unsigned int v) {
    *fStr += std::to_string(v);
    return *this;
}
MString& MString::operator+=(float v) {
    *fStr += formatNumber(v);
    return *this;
}
MString MString::operator+(const MString& o) const {
    MString r(*this);
    return r += o;
}
MString MString::operator+(const char* o) const {
    MString r(*this);
    return r += o;
}
MString MString::operator+(double v) const {
    MString r(*this);
    return r += v;
}
MString MString::operator+(unsigned int v) const {
    MString r(*this);
    return r += v;
}
MString MString::operator+(int v) const {
    MString r(*this);
    return r += v;
}
MString MString::operator+(float v) const {
    MString r(*this);
    return r += v;
}
MString operator+(const char* first, const MString& second) {
    MString r(first);
    return r += second;
}
bool MString::operator==(const MString& o) const { return *fStr == *o.fStr; }
bool MString::operator==(const char* o) const { return *fStr == (o ? o : ""); }
bool MString::operator!=(const MString& o) const { return !(*this == o); }
bool MString::operator!=(const char* o) const { return !(*this == o); }
bool MString::operator<(const MString& o) const { return *fStr < *o.fStr; }
bool MString::operator>(const MString& o) const { return *fStr > *o.fStr; }
MStatus MString::set(const char* s) {
    *this = s;
    return MS::kSuccess;
}
MStatus MString::set(const char* s, int n) {
    *this = MString(s, n);
    return MS::kSuccess;
}
MStatus MString::set(double v) {
    *this = v;
    return MS::kSuccess;
}
MStatus MString::set(double v, int precision) {
    char buf[512];
    std::snprintf(buf, sizeof buf, "%.*f", std::max(precision, 0), v);
    *fStr = buf;
    return MS::kSuccess;
}
const char* MString::asChar() const { return fStr->c_str(); }
const char* MString::asChar(int& length) const {
    length = static_cast<int>(fStr->size());
    return fStr->c_str();
}
const char* MString::asUTF8() const { return fStr->c_str(); }
unsigned int MString::length() const { return static_cast<unsigned int>(fStr->size()); }
unsigned int MString::numChars() const {
    unsigned int n = 0;
    for (unsigned char c : *fStr)
        n += (c & 0xC0) != 0x80;
    return n;
}
void MString::clear() { fStr->clear(); }
MString MString::substring(int start, int end) const {
    const int n = static_cast<int>(fStr->size());
    if (start < 0)
        start = 0;
    if (end >= n)
        end = n - 1;
    if (start > end)
        return MString();
    return MString(fStr->c_str() + start, end - start + 1);
}
int MString::index(char c) const {
    size_t p = fStr->find(c);
    return p == std::string::npos ? -1 : static_cast<int>(p);
}
int MString::rindex(char c) const {
    size_t p = fStr->rfind(c);
    return p == std::string::npos ? -1 : static_cast<int>(p);
}
int MString::indexW(const MString& s) const {
    size_t p = fStr->find(*s.fStr);
    return p == std::string::npos ? -1 : static_cast<int>(p);
}
int MString::rindexW(const MString& s) const {
    size_t p = fStr->rfind(*s.fStr);
    return p == std::string::npos ? -1 : static_cast<int>(p);
}
MStatus MString::split(char c, MStringArray& array) const {
    array.clear();
    std::string piece;
    for (char ch : *fStr) {
        if (ch == c) {
            if (!piece.empty())
                array.append(MString(piece.c_str()));
            piece.clear();
        } else {
            piece += ch;
        }
    }
    if (!piece.empty())
        array.append(MString(piece.c_str()));
    return MS::kSuccess;
}
MStatus MString::substitute(const MString& first, const MString& second) {
    if (first.fStr->empty())
        return MS::kInvalidParameter;
    std::string out;
    size_t pos = 0, hit;
    while ((hit = fStr->find(*first.fStr, pos)) != std::string::npos) {
        out.append(*fStr, pos, hit - pos);
        out += *second.fStr;
        pos = hit + first.fStr->size();
    }
    out.append(*fStr, pos, std::string::npos);
    *fStr = out;
    return MS::kSuccess;
}
MString MString::toLowerCase() const {
    MString r(*this);
    for (char& c : *r.fStr)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return r;
}
MString MString::toUpperCase() const {
    MString r(*this);
    for (char& c : *r.fStr)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return r;
}
MString MString::expandEnvironmentVariablesAndTilde(MStatus* st) const {
    if (st)
        *st = MS::kSuccess;
    std::string s = *fStr;
    if (!s.empty() && s[0] == '~') {
        const char* home = std::getenv("HOME");
        s = std::string(home ? home : "") + s.substr(1);
    }
    return MString(s.c_str());
}
bool MString::isShort() const {
    long v;
    return parsesAsLong(*fStr, v) && v >= -32768 && v <= 32767;
}
short MString::asShort() const { return static_cast<short>(asInt()); }
bool MString::isInt() const {
    long v;
    return parsesAsLong(*fStr, v);
}
int MString::asInt() const { return static_cast<int>(std::strtol(fStr->c_str(), nullptr, 10)); }
bool MString::isUnsigned() const {
    long v;
    return parsesAsLong(*fStr, v) && v >= 0;
}
unsigned int MString::asUnsigned() const {
    return static_cast<unsigned int>(std::strtoul(fStr->c_str(), nullptr, 10));
}
bool MString::isFloat() const {
    double v;
    return parsesAsDouble(*fStr, v);
}
float MString::asFloat() const { return static_cast<float>(asDouble()); }
bool MString::isDouble() const {
    double v;
    return parsesAsDouble(*fStr, v);
}
double MString::asDouble() const { return std::strtod(fStr->c_str(), nullptr); }
std::ostream& operator<<(std::ostream& os, const MString& s) { return os << *s.fStr; }

// ---- MStringArray ---------------------------------------------------------------------------

MStringArray::MStringArray() {}
MStringArray::MStringArray(const MStringArray& o) : fArray(o.fArray) {}
MStringArray::MStringArray(const MString strings[], unsigned int count) : fArray(strings, strings + count) {}
MStringArray::MStringArray(const char* strings[], unsigned int count) {
    for (unsigned int i = 0; i < count; ++i)
        fArray.push_back(MString(strings[i]));
}
MStringArray::MStringArray(unsigned int n, const MString& v) : fArray(n, v) {}
MStringArray::~MStringArray() {}
MStringArray& MStringArray::operator=(const MStringArray& o) {
    fArray = o.fArray;
    return *this;
}
const MString& MStringArray::operator[](unsigned int i) const { return fArray[i]; }
MString& MStringArray::operator[](unsigned int i) { return fArray[i]; }
MStatus MStringArray::set(const MString& e, unsigned int i) {
    if (i >= fArray.size())
        return MS::kFailure;
    fArray[i] = e;
    return MS::kSuccess;
}
MStatus MStringArray::set(const char* e, unsigned int i) { return set(MString(e), i); }
MStatus MStringArray::setLength(unsigned int n) {
    fArray.resize(n);
    return MS::kSuccess;
}
unsigned int MStringArray::length() const { return static_cast<unsigned int>(fArray.size()); }
MStatus MStringArray::remove(unsigned int i) {
    if (i >= fArray.size())
        return MS::kFailure;
    fArray.erase(fArray.begin() + i);
    return MS::kSuccess;
}
MStatus MStringArray::insert(const MString& e, unsigned int i) {
    if (i > fArray.size())
        return MS::kFailure;
    fArray.insert(fArray.begin() + i, e);
    return MS::kSuccess;
}
MStatus MStringArray::append(const MString& e) {
    fArray.push_back(e);
    return MS::kSuccess;
}
MStatus MStringArray::clear() {
    fArray.clear();
    return MS::kSuccess;
}
void MStringArray::setSizeIncrement(unsigned int) {}
unsigned int MStringArray::sizeIncrement() const { return 0; }
int MStringArray::indexOf(const MString& e) const {
    for (size_t i = 0; i < fArray.size(); ++i)
        if (fArray[i] == e)
            return static_cast<int>(i);
    return -1;
}
std::ostream& operator<<(std::ostream& os, const MStringArray& a) {
    os << "[";
    for (size_t i = 0; i < a.fArray.size(); ++i)
        os << (i ? ", " : "") << a.fArray[i];
    return os << "]";
}

// ---- MVector, MPoint, MMatrix ---------------------------------------------------------------

const MVector MVector::zero(0, 0, 0);
const MVector MVector::one(1, 1, 1);
const MVector MVector::xAxis(1, 0, 0);
const MVector MVector::yAxis(0, 1, 0);
const MVector MVector::zAxis(0, 0, 1);
const MVector MVector::xNegAxis(-1, 0, 0);
const MVector MVector::yNegAxis(0, -1, 0);
const MVector MVector::zNegAxis(0, 0, -1);
const MPoint MPoint::origin(0, 0, 0, 1);

double MVector::angle(const MVector& o) const {
    double l = length() * o.length();
    if (l <= 0.0)
        return 0.0;
    double c = (*this * o) / l;
    return std::acos(std::max(-1.0, std::min(1.0, c)));
}
bool MVector::isParallel(const MVector& o, double tolerance) const {
    MVector a = normal(), b = o.normal();
    return std::fabs(std::fabs(a * b) - 1.0) <= tolerance;
}
MVector MVector::operator*(const MMatrix& m) const {
    // Directions ignore the translation row.
    return MVector(x * m[0][0] + y * m[1][0] + z * m[2][0], x * m[0][1] + y * m[1][1] + z * m[2][1],
                   x * m[0][2] + y * m[1][2] + z * m[2][2]);
}
MVector& MVector::operator*=(const MMatrix& m) { return *this = *this * m; }
MPoint MPoint::operator*(const MMatrix& m) const {
    return MPoint(x * m[0][0] + y * m[1][0] + z * m[2][0] + w * m[3][0],
                  x * m[0][1] + y * m[1][1] + z * m[2][1] + w * m[3][1],
                  x * m[0][2] + y * m[1][2] + z * m[2][2] + w * m[3][2],
                  x * m[0][3] + y * m[1][3] + z * m[2][3] + w * m[3][3]);
}
MPoint& MPoint::operator*=(const MMatrix& m) { return *this = *this * m; }

const MMatrix MMatrix::identity;
MMatrix::MMatrix() { setToIdentity(); }
MMatrix::MMatrix(const double m[4][4]) {
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            matrix[r][c] = m[r][c];
}
MMatrix::MMatrix(const float m[4][4]) {
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            matrix[r][c] = m[r][c];
}
MStatus MMatrix::get(double d[4][4]) const {
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            d[r][c] = matrix[r][c];
    return MS::kSuccess;
}
MStatus MMatrix::get(float d[4][4]) const {
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            d[r][c] = static_cast<float>(matrix[r][c]);
    return MS::kSuccess;
}
MMatrix MMatrix::transpose() const {
    MMatrix t;
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            t.matrix[r][c] = matrix[c][r];
    return t;
}
MMatrix& MMatrix::setToIdentity() {
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            matrix[r][c] = r == c ? 1.0 : 0.0;
    return *this;
}
MMatrix& MMatrix::setToProduct(const MMatrix& a, const MMatrix& b) { return *this = a * b; }
namespace {
double det3(const double m[4][4], int r0, int r1, int r2, int c0, int c1, int c2) {
    return m[r0][c0] * (m[r1][c1] * m[r2][c2] - m[r1][c2] * m[r2][c1]) -
           m[r0][c1] * (m[r1][c0] * m[r2][c2] - m[r1][c2] * m[r2][c0]) +
           m[r0][c2] * (m[r1][c0] * m[r2][c1] - m[r1][c1] * m[r2][c0]);
}
} // namespace
MMatrix MMatrix::adjoint() const {
    MMatrix adj;
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c) {
            int rows[3], cols[3];
            for (int i = 0, k = 0; i < 4; ++i)
                if (i != r)
                    rows[k++] = i;
            for (int i = 0, k = 0; i < 4; ++i)
                if (i != c)
                    cols[k++] = i;
            double minor = det3(matrix, rows[0], rows[1], rows[2], cols[0], cols[1], cols[2]);
            adj.matrix[c][r] = ((r + c) % 2 ? -1.0 : 1.0) * minor;
        }
    return adj;
}
double MMatrix::det4x4() const {
    double d = 0.0;
    for (int c = 0; c < 4; ++c) {
        int cols[3];
        for (int i = 0, k = 0; i < 4; ++i)
            if (i != c)
                cols[k++] = i;
        d += (c % 2 ? -1.0 : 1.0) * matrix[0][c] * det3(matrix, 1, 2, 3, cols[0], cols[1], cols[2]);
    }
    return d;
}
double MMatrix::det3x3() const { return det3(matrix, 0, 1, 2, 0, 1, 2); }
MMatrix MMatrix::inverse() const {
    double d = det4x4();
    if (d == 0.0)
        return *this;
    return adjoint() * (1.0 / d);
}
MMatrix MMatrix::homogenize() const {
    MMatrix h(*this);
    if (matrix[3][3] != 0.0)
        for (int r = 0; r < 4; ++r)
            for (int c = 0; c < 4; ++c)
                h.matrix[r][c] /= matrix[3][3];
    return h;
}
bool MMatrix::isEquivalent(const MMatrix& o, double tol) const {
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            if (std::fabs(matrix[r][c] - o.matrix[r][c]) > tol)
                return false;
    return true;
}
bool MMatrix::isSingular() const { return std::fabs(det4x4()) < 1e-12; }
MMatrix MMatrix::operator+(const MMatrix& o) const {
    MMatrix r;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            r.matrix[i][j] = matrix[i][j] + o.matrix[i][j];
    return r;
}
MMatrix MMatrix::operator-(const MMatrix& o) const {
    MMatrix r;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            r.matrix[i][j] = matrix[i][j] - o.matrix[i][j];
    return r;
}
MMatrix MMatrix::operator*(const MMatrix& o) const {
    MMatrix r;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) {
            double s = 0.0;
            for (int k = 0; k < 4; ++k)
                s += matrix[i][k] * o.matrix[k][j];
            r.matrix[i][j] = s;
        }
    return r;
}
MMatrix MMatrix::operator*(double s) const {
    MMatrix r;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            r.matrix[i][j] = matrix[i][j] * s;
    return r;
}
MMatrix& MMatrix::operator*=(const MMatrix& o) { return *this = *this * o; }
bool MMatrix::operator==(const MMatrix& o) const { return isEquivalent(o, 0.0); }
bool MMatrix::operator!=(const MMatrix& o) const { return !(*this == o); }
std::ostream& operator<<(std::ostream& os, const MMatrix& m) {
    os << "[";
    for (int r = 0; r < 4; ++r) {
        os << (r ? ", " : "") << "[";
        for (int c = 0; c < 4; ++c)
            os << (c ? ", " : "") << m.matrix[r][c];
        os << "]";
    }
    return os << "]";
}

// ---- MTime ----------------------------------------------------------------------------------

namespace {
// Seconds per unit.
double secondsPer(MTime::Unit u) {
    switch (u) {
    case MTime::kHours:
        return 3600.0;
    case MTime::kMinutes:
        return 60.0;
    case MTime::kSeconds:
        return 1.0;
    case MTime::kMilliseconds:
        return 0.001;
    case MTime::kGames:
        return 1.0 / 15;
    case MTime::kFilm:
        return 1.0 / 24;
    case MTime::kPALFrame:
        return 1.0 / 25;
    case MTime::kNTSCFrame:
        return 1.0 / 30;
    case MTime::kShowScan:
        return 1.0 / 48;
    case MTime::kPALField:
        return 1.0 / 50;
    case MTime::kNTSCField:
        return 1.0 / 60;
    case MTime::k2FPS:
        return 1.0 / 2;
    case MTime::k3FPS:
        return 1.0 / 3;
    case MTime::k4FPS:
        return 1.0 / 4;
    case MTime::k5FPS:
        return 1.0 / 5;
    case MTime::k6FPS:
        return 1.0 / 6;
    case MTime::k8FPS:
        return 1.0 / 8;
    case MTime::k10FPS:
        return 1.0 / 10;
    case MTime::k12FPS:
        return 1.0 / 12;
    case MTime::k16FPS:
        return 1.0 / 16;
    case MTime::k20FPS:
        return 1.0 / 20;
    case MTime::k40FPS:
        return 1.0 / 40;
    case MTime::k75FPS:
        return 1.0 / 75;
    case MTime::k80FPS:
        return 1.0 / 80;
    case MTime::k100FPS:
        return 1.0 / 100;
    case MTime::k120FPS:
        return 1.0 / 120;
    case MTime::k125FPS:
        return 1.0 / 125;
    case MTime::k150FPS:
        return 1.0 / 150;
    case MTime::k200FPS:
        return 1.0 / 200;
    case MTime::k240FPS:
        return 1.0 / 240;
    case MTime::k250FPS:
        return 1.0 / 250;
    case MTime::k300FPS:
        return 1.0 / 300;
    case MTime::k375FPS:
        return 1.0 / 375;
    case MTime::k400FPS:
        return 1.0 / 400;
    case MTime::k500FPS:
        return 1.0 / 500;
    case MTime::k600FPS:
        return 1.0 / 600;
    case MTime::k750FPS:
        return 1.0 / 750;
    case MTime::k1200FPS:
        return 1.0 / 1200;
    case MTime::k1500FPS:
        return 1.0 / 1500;
    case MTime::k2000FPS:
        return 1.0 / 2000;
    case MTime::k3000FPS:
        return 1.0 / 3000;
    case MTime::k6000FPS:
        return 1.0 / 6000;
    case MTime::k23_976FPS:
        return 1001.0 / 24000;
    case MTime::k29_97FPS:
    case MTime::k29_97DF:
        return 1001.0 / 30000;
    case MTime::k47_952FPS:
        return 1001.0 / 48000;
    case MTime::k59_94FPS:
        return 1001.0 / 60000;
    case MTime::k44100FPS:
        return 1.0 / 44100;
    case MTime::k48000FPS:
        return 1.0 / 48000;
    case MTime::k90FPS:
        return 1.0 / 90;
    default:
        return 1.0 / 24;
    }
}
MTime::Unit resolve(MTime::Unit u) {
    return (u <= MTime::kInvalid || u >= MTime::kUserDef) ? MTime::uiUnit() : u;
}
} // namespace

MTime::MTime() : val(0.0), valUnit(uiUnit()) {}
MTime::MTime(double value, Unit unit) : val(value), valUnit(resolve(unit)) {}
MStatus MTime::setUnit(Unit u) {
    if (u <= kInvalid || u >= kUserDef)
        return MS::kInvalidParameter;
    val = as(u);
    valUnit = u;
    return MS::kSuccess;
}
MStatus MTime::setValue(double v) {
    val = v;
    return MS::kSuccess;
}
double MTime::as(Unit other) const {
    other = resolve(other);
    if (other == valUnit)
        return val;
    return val * secondsPer(valUnit) / secondsPer(other);
}
MTime MTime::operator+(const MTime& r) const { return MTime(val + r.as(valUnit), valUnit); }
MTime MTime::operator-(const MTime& r) const { return MTime(val - r.as(valUnit), valUnit); }
MTime MTime::operator+(double r) const { return MTime(val + r, valUnit); }
MTime MTime::operator-(double r) const { return MTime(val - r, valUnit); }
MTime MTime::operator*(double r) const { return MTime(val * r, valUnit); }
MTime MTime::operator/(double r) const { return MTime(val / r, valUnit); }
MTime& MTime::operator+=(const MTime& r) { return *this = *this + r; }
MTime& MTime::operator-=(const MTime& r) { return *this = *this - r; }
MTime& MTime::operator+=(double r) { return *this = *this + r; }
MTime& MTime::operator-=(double r) { return *this = *this - r; }
bool MTime::operator==(const MTime& r) const { return std::fabs(val - r.as(valUnit)) < 1e-9; }
bool MTime::operator!=(const MTime& r) const { return !(*this == r); }
bool MTime::operator<(const MTime& r) const { return !(*this == r) && val < r.as(valUnit); }
bool MTime::operator>(const MTime& r) const { return !(*this == r) && val > r.as(valUnit); }
bool MTime::operator<=(const MTime& r) const { return !(*this > r); }
bool MTime::operator>=(const MTime& r) const { return !(*this < r); }
MTime::Unit MTime::uiUnit() { return mhost::session().uiUnit; }
MStatus MTime::setUIUnit(Unit u) {
    if (u <= kInvalid || u >= kUserDef)
        return MS::kInvalidParameter;
    mhost::session().uiUnit = u;
    return MS::kSuccess;
}
std::ostream& operator<<(std::ostream& os, const MTime& t) { return os << t.value(); }

// ---- MObject --------------------------------------------------------------------------------

namespace mhost {
bool isA(MFn::Type t, MFn::Type base) {
    while (true) {
        if (t == base)
            return true;
        switch (t) {
        case MFn::kDependencyNode:
        case MFn::kAttribute:
        case MFn::kData:
        case MFn::kPlugin:
            t = MFn::kBase;
            break;
        case MFn::kDagNode:
        case MFn::kTime:
        case MFn::kPluginDependNode:
            t = MFn::kDependencyNode;
            break;
        case MFn::kTransform:
        case MFn::kShape:
            t = MFn::kDagNode;
            break;
        case MFn::kPluginTransformNode:
            t = MFn::kTransform;
            break;
        case MFn::kMesh:
        case MFn::kNurbsCurve:
        case MFn::kLocator:
            t = MFn::kShape;
            break;
        case MFn::kPluginLocatorNode:
            t = MFn::kLocator;
            break;
        case MFn::kNumericAttribute:
        case MFn::kTypedAttribute:
        case MFn::kEnumAttribute:
        case MFn::kMatrixAttribute:
        case MFn::kUnitAttribute:
        case MFn::kCompoundAttribute:
            t = MFn::kAttribute;
            break;
        case MFn::kNumericData:
        case MFn::kMeshData:
        case MFn::kStringData:
        case MFn::kIntArrayData:
        case MFn::kDoubleArrayData:
        case MFn::kPointArrayData:
        case MFn::kMatrixData:
        case MFn::kNurbsCurveData:
        case MFn::kComponentListData:
            t = MFn::kData;
            break;
        default:
            return false;
        }
    }
}
} // namespace mhost

const MObject MObject::kNullObj;
MObject::MObject() {}
MObject::MObject(const MObject& o) : fObject(o.fObject) {}
MObject::MObject(std::shared_ptr<mhost::Object> object) : fObject(std::move(object)) {}
MObject::~MObject() {}
MObject& MObject::operator=(const MObject& o) {
    fObject = o.fObject;
    return *this;
}
bool MObject::isNull() const {
    if (!fObject)
        return true;
    // A handle to a deleted node reads as null.
    auto* node = dynamic_cast<mhost::Node*>(fObject.get());
    return node && !node->alive;
}
MFn::Type MObject::apiType() const { return isNull() ? MFn::kInvalid : fObject->apiType; }
bool MObject::hasFn(MFn::Type fs) const { return !isNull() && mhost::isA(fObject->apiType, fs); }
const char* MObject::apiTypeStr() const {
    switch (apiType()) {
    case MFn::kTime:
        return "kTime";
    case MFn::kTransform:
        return "kTransform";
    case MFn::kMesh:
        return "kMesh";
    case MFn::kPluginDependNode:
        return "kPluginDependNode";
    case MFn::kPluginLocatorNode:
        return "kPluginLocatorNode";
    case MFn::kMeshData:
        return "kMeshData";
    case MFn::kInvalid:
        return "kInvalid";
    default:
        return "kBase";
    }
}
bool MObject::operator==(const MObject& o) const { return fObject == o.fObject; }
bool MObject::operator!=(const MObject& o) const { return fObject != o.fObject; }
