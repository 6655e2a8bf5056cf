#include "KObjSequence.h"

#include <fast_float/fast_float.h>

#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <limits>
#include <memory>

#if !defined(_WIN32)
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace Kelno {

// ---------------------------------------------------------------------------------------------
// Frame-to-file-name rule
// ---------------------------------------------------------------------------------------------

std::string PadNumber(int number, int width) {
    // Magnitude in 64 bits so that INT_MIN has one.
    const bool negative = number < 0;
    std::uint64_t magnitude = negative ? static_cast<std::uint64_t>(-static_cast<std::int64_t>(number))
                                       : static_cast<std::uint64_t>(number);
    char digits[24];
    int count = 0;
    do {
        digits[count++] = static_cast<char>('0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude != 0);

    const int length = count + (negative ? 1 : 0);
    std::string text;
    text.reserve(static_cast<std::size_t>(width > length ? width : length));
    if (negative)
        text += '-';
    if (width > length)
        text.append(static_cast<std::size_t>(width - length), '0');
    while (count > 0)
        text += digits[--count];
    return text;
}

namespace {

// Splits at `separator` and drops empty pieces, as the host string's split does.
KArray<std::string> splitDroppingEmpty(const std::string& text, char separator) {
    KArray<std::string> pieces;
    std::size_t start = 0;
    while (start <= text.size()) {
        std::size_t stop = text.find(separator, start);
        if (stop == std::string::npos)
            stop = text.size();
        if (stop > start)
            pieces.push_back(text.substr(start, stop - start));
        start = stop + 1;
    }
    return pieces;
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

} // namespace

std::string ObjSequenceFileName(const std::string& path, int frame, int frameOffset) {
    const std::string nullName = "NULL";
    if (path.empty())
        return nullName;
    const KArray<std::string> pieces = splitDroppingEmpty(path, '/');
    if (pieces.empty())
        return nullName;
    const std::string& fileName = pieces.back();

    std::size_t first = std::string::npos;
    int width = 0;
    for (std::size_t i = 0; i < fileName.size(); ++i) {
        if (isDigit(fileName[i])) {
            if (first == std::string::npos)
                first = i;
            ++width;
        }
    }
    if (width == 0)
        return "NOT A SEQUENCE FILE";

    // The sum wraps instead of overflowing (signed overflow would be undefined).
    const int number = static_cast<int>(static_cast<std::uint32_t>(static_cast<std::uint32_t>(frame) +
                                                                   static_cast<std::uint32_t>(frameOffset)));

    // A name with a digit always has a non-empty dot-piece, so `dotPieces` is never empty.
    const KArray<std::string> dotPieces = splitDroppingEmpty(fileName, '.');
    const std::string prefix = dotPieces.front().substr(0, first);
    const std::string& extension = dotPieces.back();

    std::string result = "/";
    for (std::size_t i = 0; i + 1 < pieces.size(); ++i) {
        result += pieces[i];
        result += '/';
    }
    result += prefix;
    result += PadNumber(number, width);
    result += '.';
    result += extension;
    return result;
}

// ---------------------------------------------------------------------------------------------
// OBJ subset reader
// ---------------------------------------------------------------------------------------------

namespace {

// Blank space as the classic locale's isspace sees it, without the line's own end.
inline bool isLineBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f'; }

inline bool atLineEnd(const char* p, const char* end) { return p == end || *p == '\n'; }

const double kExactPowersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                    1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

// Converts the text [first, last), which the stream grammar accepted and which holds at least one
// mantissa digit, the way the stream converts it (strtod, correctly rounded). Returns false on
// overflow, with `value` set to +/-max as the stream sets it.
bool convertSlow(const char* first, const char* last, double& value) {
    if (*first == '+')
        ++first; // fast_float takes no leading '+'
    double result = 0.0;
    fast_float::from_chars(first, last, result);
    if (std::isinf(result)) {
        value = result > 0 ? std::numeric_limits<double>::max() : -std::numeric_limits<double>::max();
        return false;
    }
    value = result;
    return true;
}

// One `stream >> double` on the current line. Returns false where the stream would set its
// fail bit (later extractions then do nothing); `value` is then what the stream stores on
// failure (0 for no number, +/-max on overflow), or left alone when the line had no more text.
//
// The characters are taken by the stream's own grammar first (sign, digits, one point, one
// exponent marker with optional sign), because the stream converts exactly that text and fails
// when the conversion does not use all of it ("1e", "."). Numbers of up to 19 digits whose
// value is exact in a double and whose scale is a power of ten up to 1e22 are converted here
// exactly (Clinger's fast path: both operands exact, one correctly rounded operation); the rest
// go to fast_float, which rounds correctly like strtod. Either way the result equals strtod's.
inline bool extractDouble(const char*& p, const char* end, double& value) {
    if (p != end && *p == ' ')
        ++p;
    while (p != end && isLineBlank(*p))
        ++p;
    if (atLineEnd(p, end))
        return false;

    const char* const start = p;
    bool negative = false;
    if (*p == '+' || *p == '-') {
        negative = *p == '-';
        ++p;
    }

    // Every digit goes into the mantissa while there are at most 19 (no overflow); longer
    // numbers take the slow path, so the count is all that needs checking afterwards.
    std::uint64_t mantissa = 0;
    const char* const integerStart = p;
    while (p != end && isDigit(*p)) {
        mantissa = mantissa * 10 + static_cast<unsigned>(*p - '0');
        ++p;
    }
    std::ptrdiff_t digits = p - integerStart;
    std::ptrdiff_t fractionDigits = 0;
    if (p != end && *p == '.') {
        ++p;
        const char* const fractionStart = p;
        while (p != end && isDigit(*p)) {
            mantissa = mantissa * 10 + static_cast<unsigned>(*p - '0');
            ++p;
        }
        fractionDigits = p - fractionStart;
        digits += fractionDigits;
    }
    if (digits == 0) {
        value = 0.0;
        return false;
    }

    std::int64_t exponent = 0;
    if (p != end && (*p == 'e' || *p == 'E')) {
        ++p;
        bool negativeExponent = false;
        if (p != end && (*p == '+' || *p == '-')) {
            negativeExponent = *p == '-';
            ++p;
        }
        const char* const exponentStart = p;
        while (p != end && isDigit(*p)) {
            if (exponent < 100000000)
                exponent = exponent * 10 + (*p - '0');
            ++p;
        }
        if (p == exponentStart) {
            value = 0.0;
            return false;
        }
        if (negativeExponent)
            exponent = -exponent;
    }

    const std::int64_t scale = exponent - fractionDigits;
    if (digits <= 19 && mantissa <= (std::uint64_t(1) << 53) && scale >= -22 && scale <= 22) {
        double result = static_cast<double>(mantissa);
        result = scale >= 0 ? result * kExactPowersOfTen[scale] : result / kExactPowersOfTen[-scale];
        value = negative ? -result : result;
        return true;
    }
    return convertSlow(start, p, value);
}

// strtol on a token that does not start with a plain digit run of at most 18 digits: leading
// blank space, a sign, or a run long enough to need strtol's clamping to the long range.
std::uint64_t tokenValueSlow(const char*& p, const char* end) {
    while (p != end && *p != ' ' && *p != '\n' && isLineBlank(*p))
        ++p;
    bool negative = false;
    if (p != end && (*p == '+' || *p == '-')) {
        negative = *p == '-';
        ++p;
    }
    // long is 64-bit where the library is built.
    const std::uint64_t limit = negative ? (std::uint64_t(1) << 63) : (std::uint64_t(1) << 63) - 1;
    std::uint64_t magnitude = 0;
    bool overflow = false;
    while (p != end && isDigit(*p)) {
        const std::uint64_t digit = static_cast<std::uint64_t>(*p - '0');
        if (!overflow) {
            if (magnitude > (limit - digit) / 10) {
                overflow = true;
                magnitude = limit;
            } else {
                magnitude = magnitude * 10 + digit;
            }
        }
        ++p;
    }
    return negative ? (0 - magnitude) : magnitude;
}

// strtol(token, nullptr, 10) on one face token ending at a blank or the line's end, then minus
// one, narrowed to int as a two's-complement conversion narrows. Moves `p` to the token's end.
inline int faceIndexMinusOne(const char*& p, const char* end) {
    const char* const start = p;
    std::uint64_t value = 0;
    while (p != end && isDigit(*p)) {
        value = value * 10 + static_cast<unsigned>(*p - '0');
        ++p;
    }
    if (p == start || p - start > 18) {
        p = start;
        value = tokenValueSlow(p, end);
    }
    // Texture and normal indices ("/t/n") and anything else up to the token's end are skipped.
    while (p != end && *p != ' ' && *p != '\n')
        ++p;
    return static_cast<int>(static_cast<std::uint32_t>(value - 1));
}

inline const char* nextLine(const char* p, const char* end) {
    const void* newline = std::memchr(p, '\n', static_cast<std::size_t>(end - p));
    return newline ? static_cast<const char*>(newline) + 1 : end;
}

} // namespace

void ParseObjBuffer(const char* data, std::size_t size, KObjMesh& mesh) {
    mesh.clear();
    if (data == nullptr || size == 0)
        return;
    const char* p = data;
    const char* const end = data + size;

    while (p != end) {
        const char c0 = *p;
        const bool hasTwo = end - p >= 2;
        if (c0 == 'v' && hasTwo && p[1] == ' ') {
            p += 2;
            KObjPoint point{0.0, 0.0, 0.0, 1.0};
            if (extractDouble(p, end, point.x) && extractDouble(p, end, point.y))
                extractDouble(p, end, point.z);
            mesh.points.push_back(point);
            // The usual line ends right after the third number.
            if (p != end && *p == '\n')
                ++p;
            else if (p != end)
                p = nextLine(p, end);
        } else if (c0 == 'f' && hasTwo && p[1] == ' ') {
            p += 2;
            int count = 0;
            // getline(stream, token, ' '): a token ends at a blank or the line's end; a blank
            // that is the line's last character starts no further token.
            while (!atLineEnd(p, end)) {
                mesh.polygonConnects.push_back(faceIndexMinusOne(p, end));
                ++count;
                if (p != end && *p == ' ')
                    ++p;
            }
            mesh.polygonCounts.push_back(count);
            if (p != end)
                ++p;
        } else {
            p = nextLine(p, end);
        }
    }
}

std::string ObjOpenFailureMessage(const std::string& fileName) {
    return "Failed to open the file: " + fileName;
}

namespace {

struct FreeDeleter {
    void operator()(char* p) const { std::free(p); }
};

} // namespace

bool ReadObjFile(const std::string& fileName, KObjMesh& mesh) {
    mesh.clear();
#if !defined(_WIN32)
    // One read of the whole file into an uninitialised buffer (a zero-filled std::vector would
    // touch every byte twice). No memory mapping: a cache file rewritten while it is mapped
    // would kill the host with SIGBUS.
    const int fd = ::open(fileName.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    struct stat info;
    const bool regular = ::fstat(fd, &info) == 0 && S_ISREG(info.st_mode);
    // A regular file is read up to the size it has now; pipes and the like until they end.
    std::size_t capacity = regular ? static_cast<std::size_t>(info.st_size) : std::size_t(1) << 16;
    std::unique_ptr<char, FreeDeleter> buffer(static_cast<char*>(std::malloc(capacity + 1)));
    std::size_t size = 0;
    while (buffer) {
        if (size == capacity) {
            if (regular)
                break;
            char* grown = static_cast<char*>(std::realloc(buffer.get(), 2 * capacity + 1));
            if (grown == nullptr)
                break;
            buffer.release();
            buffer.reset(grown);
            capacity *= 2;
        }
        const ssize_t got = ::read(fd, buffer.get() + size, capacity - size);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        size += static_cast<std::size_t>(got);
    }
    ::close(fd);
    ParseObjBuffer(buffer.get(), size, mesh);
    return true;
#else
    std::ifstream file(fileName, std::ios::binary);
    if (!file.is_open())
        return false;
    file.seekg(0, std::ios::end);
    const std::streamoff length = file.tellg();
    file.seekg(0, std::ios::beg);
    if (length <= 0)
        return true;
    std::unique_ptr<char, FreeDeleter> buffer(
        static_cast<char*>(std::malloc(static_cast<std::size_t>(length))));
    if (!buffer)
        return true;
    file.read(buffer.get(), length);
    ParseObjBuffer(buffer.get(), static_cast<std::size_t>(file.gcount()), mesh);
    return true;
#endif
}

} // namespace Kelno
