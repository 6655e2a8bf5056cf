#include "KObjSequence.h"

#include <fast_float/fast_float.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <string>

#if defined(_MSC_VER)
#include <intrin.h>
#endif

#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "the OBJ reader's digit scanning assumes a little-endian machine"
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

// The parser below works on a text whose end is marked by a newline (the sentinel, at `end`)
// followed by at least kPadding readable bytes, so that it can test for the end of a line
// without also testing for the end of the text and can load eight bytes at a time anywhere up
// to the sentinel. The callers provide that without copying the bulk of the text.
const std::size_t kPadding = 16;

// Bytes read and parsed at a time: large enough that the read calls cost nothing, small enough
// to stay in the second-level cache until they are parsed.
const std::size_t kReadBlockBytes = std::size_t(1) << 20;
// The smallest read buffer, for files much smaller than a block.
const std::size_t kSmallestBuffer = 4096;

// Blank space as the classic locale's isspace sees it, without the newline.
inline bool isLineBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f'; }

const double kExactPowersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                    1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

// Index of the lowest set bit of a non-zero word.
inline int lowestSetBit(std::uint64_t word) {
#if defined(_MSC_VER)
    unsigned long index;
    _BitScanForward64(&index, word);
    return static_cast<int>(index);
#else
    return __builtin_ctzll(word);
#endif
}

// Eight bytes at p, first byte lowest (the reader assumes a little-endian machine, checked above).
inline std::uint64_t load8(const char* p) {
    std::uint64_t word;
    std::memcpy(&word, p, sizeof word);
    return word;
}

const std::uint64_t kIntegerPowersOfTen[] = {1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000};

// The digits at the start of the eight bytes at p: returns how many there are (0 to 8) and, when
// there are any, sets `run` to their value.
inline int wordDigits(const char* p, std::uint64_t& run) {
    // Per byte: b ^ '0' is 0..9 exactly for a digit; a set high nibble, or a low nibble that
    // carries into bit 4 when 6 is added, marks a non-digit. No carry crosses a byte.
    const std::uint64_t bytes = load8(p) ^ 0x3030303030303030ULL;
    const std::uint64_t nonDigit =
        (bytes & 0xF0F0F0F0F0F0F0F0ULL) |
        (((bytes & 0x0F0F0F0F0F0F0F0FULL) + 0x0606060606060606ULL) & 0x1010101010101010ULL);
    const int count = nonDigit == 0 ? 8 : lowestSetBit(nonDigit) / 8;
    if (count == 0)
        return 0;
    // Move the run's bytes to the top so the unused low bytes read as leading zeros, then
    // combine digit pairs, quads and the two halves with multiplications.
    std::uint64_t value = count == 8 ? bytes : bytes << (8 * (8 - count));
    value = value * 10 + (value >> 8);
    run = (((value & 0x000000FF000000FFULL) * (100 + (1000000ULL << 32))) +
           (((value >> 16) & 0x000000FF000000FFULL) * (1 + (10000ULL << 32)))) >>
          32;
    return count;
}

// Reads the run of decimal digits starting at p, eight bytes at a time, appending it to `value`
// (value * 10^n + run). Returns the number of digits n and moves p past them. Digits past the
// 19th overflow `value`; callers check the count. The run always ends before the sentinel.
inline std::ptrdiff_t appendDigits(const char*& p, std::uint64_t& value) {
    const char* const start = p;
    for (;;) {
        std::uint64_t run;
        const int count = wordDigits(p, run);
        if (count == 0)
            return p - start;
        value = value * kIntegerPowersOfTen[count] + run;
        p += count;
        if (count < 8)
            return p - start;
    }
}

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
inline bool extractDouble(const char*& p, double& value) {
    while (isLineBlank(*p))
        ++p;
    if (*p == '\n')
        return false;

    const char* const start = p;
    const bool negative = *p == '-';
    p += (negative || *p == '+') ? 1 : 0;

    std::uint64_t mantissa = 0;
    std::ptrdiff_t digits = appendDigits(p, mantissa);
    std::ptrdiff_t fractionDigits = 0;
    if (*p == '.') {
        ++p;
        fractionDigits = appendDigits(p, mantissa);
        digits += fractionDigits;
    }
    if (digits == 0) {
        value = 0.0;
        return false;
    }

    std::int64_t exponent = 0;
    if ((*p | 0x20) == 'e') {
        ++p;
        const bool negativeExponent = *p == '-';
        p += (negativeExponent || *p == '+') ? 1 : 0;
        const char* const exponentStart = p;
        while (isDigit(*p)) {
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
        // The sign goes in without a branch: it is unpredictable in real data.
        std::uint64_t bits;
        std::memcpy(&bits, &result, sizeof bits);
        bits |= static_cast<std::uint64_t>(negative) << 63;
        std::memcpy(&value, &bits, sizeof bits);
        return true;
    }
    return convertSlow(start, p, value);
}

// The first blank or newline at or after p, eight bytes at a time: a byte equal to the one
// looked for becomes zero after the xor, and the classic zero-byte test marks the lowest such
// byte exactly (false marks can only appear above a true one).
inline const char* tokenEnd(const char* p) {
    const std::uint64_t ones = 0x0101010101010101ULL;
    const std::uint64_t highs = 0x8080808080808080ULL;
    for (;;) {
        const std::uint64_t bytes = load8(p);
        const std::uint64_t blank = bytes ^ (ones * ' ');
        const std::uint64_t newline = bytes ^ (ones * '\n');
        const std::uint64_t found = ((blank - ones) & ~blank & highs) | ((newline - ones) & ~newline & highs);
        if (found != 0)
            return p + lowestSetBit(found) / 8;
        p += 8;
    }
}

// strtol on a token that does not start with a plain digit run of at most 18 digits: leading
// blank space, a sign, or a run long enough to need strtol's clamping to the long range.
std::uint64_t tokenValueSlow(const char*& p) {
    while (*p != ' ' && isLineBlank(*p))
        ++p;
    bool negative = false;
    if (*p == '+' || *p == '-') {
        negative = *p == '-';
        ++p;
    }
    // long is 64-bit where the library is built.
    const std::uint64_t limit = negative ? (std::uint64_t(1) << 63) : (std::uint64_t(1) << 63) - 1;
    std::uint64_t magnitude = 0;
    bool overflow = false;
    while (isDigit(*p)) {
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
inline int faceIndexMinusOne(const char*& p) {
    std::uint64_t value = 0;
    const int count = wordDigits(p, value);
    if (count != 0 && count < 8) {
        p += count; // the usual index: up to seven digits
    } else {
        const char* const start = p;
        value = 0;
        const std::ptrdiff_t digits = appendDigits(p, value);
        if (digits == 0 || digits > 18) {
            p = start;
            value = tokenValueSlow(p);
        }
    }
    // Texture and normal indices ("/t/n") and anything else up to the token's end are skipped.
    if (*p != ' ' && *p != '\n')
        p = tokenEnd(p);
    return static_cast<int>(static_cast<std::uint32_t>(value - 1));
}

// Parses the lines of [data, end), where *end is a newline with kPadding readable bytes after
// it, and appends what they give to the mesh. Every line is read on its own, so parsing a text
// in pieces cut after newlines gives the same mesh as parsing it at once.
void appendObjLines(const char* data, const char* end, KObjMesh& mesh) {
    const char* p = data;
    while (p <= end) {
        if (p[0] == 'v' && p[1] == ' ') {
            p += 2;
            KObjPoint point{0.0, 0.0, 0.0, 1.0};
            if (extractDouble(p, point.x) && extractDouble(p, point.y))
                extractDouble(p, point.z);
            mesh.points.push_back(point);
        } else if (p[0] == 'f' && p[1] == ' ') {
            p += 2;
            int count = 0;
            // getline(stream, token, ' '): a token ends at a blank or the line's end; a blank
            // that is the line's last character starts no further token.
            while (*p != '\n') {
                mesh.polygonConnects.push_back(faceIndexMinusOne(p));
                ++count;
                p += *p == ' ' ? 1 : 0;
            }
            mesh.polygonCounts.push_back(count);
        }
        // The usual record ends right here; other records and the rest of a "v " line are skipped.
        if (*p != '\n')
            p = static_cast<const char*>(std::memchr(p, '\n', static_cast<std::size_t>(end - p) + 1));
        ++p;
    }
}

// The last newline in [data, data + size), or null.
const char* lastNewline(const char* data, std::size_t size) {
    for (const char* p = data + size; p != data;) {
        if (*--p == '\n')
            return p;
    }
    return nullptr;
}

// Parses `size` bytes at `data` whose last line may lack its newline: every whole line whose
// newline lies at least kPadding bytes before the text's end is parsed where it stands, the rest
// (a few bytes and at most one line) from a copy that gets the sentinel and the padding.
void appendObjText(const char* data, std::size_t size, KObjMesh& mesh) {
    if (data == nullptr || size == 0)
        return;
    std::size_t head = 0;
    if (size > kPadding) {
        if (const char* newline = lastNewline(data, size - kPadding)) {
            appendObjLines(data, newline, mesh);
            head = static_cast<std::size_t>(newline - data) + 1;
        }
    }
    const std::size_t tail = size - head;
    if (tail == 0)
        return;
    std::unique_ptr<char[]> copy(new char[tail + 1 + kPadding]());
    std::memcpy(copy.get(), data + head, tail);
    copy[tail] = '\n';
    appendObjLines(copy.get(), copy.get() + tail, mesh);
}

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

} // namespace

void ParseObjBuffer(const char* data, std::size_t size, KObjMesh& mesh) {
    mesh.clear();
    appendObjText(data, size, mesh);
}

std::string ObjOpenFailureMessage(const std::string& fileName) {
    return "Failed to open the file: " + fileName;
}

bool ReadObjFile(const std::string& fileName, KObjMesh& mesh) {
    std::string error;
    return ReadObjFile(fileName, mesh, error);
}

bool ReadObjFile(const std::string& fileName, KObjMesh& mesh, std::string& error, std::size_t maxLineBytes) {
    mesh.clear();
    error.clear();
    // Closed however the function is left (the arrays may throw std::bad_alloc while growing).
    std::unique_ptr<std::FILE, FileCloser> stream(std::fopen(fileName.c_str(), "rb"));
    if (!stream) {
        error = ObjOpenFailureMessage(fileName);
        return false;
    }
    std::FILE* const file = stream.get();
    // The file is read in large blocks into one buffer and parsed a block's whole lines at a
    // time; the partial line at a block's end moves to the front and the next block is read
    // behind it. Compared with reading the whole file into one buffer this keeps the bytes in
    // cache between read and parse and needs no file-sized allocation (which the kernel would
    // page-fault and zero on every frame); compared with memory mapping it cannot kill the host
    // with SIGBUS when a cache file is rewritten while it is being read. The stream's own
    // buffering is switched off: each block is one read call straight into our buffer. The
    // buffer keeps kPadding bytes beyond its capacity for the parser's word loads.
    std::setvbuf(file, nullptr, _IONBF, 0);
    // A file smaller than a block gets a buffer of its own size (a sequence of small frames
    // would otherwise allocate and clear a whole block per frame). Where the size cannot be
    // told, or the file grows while it is read, the loop below copes as with any long line.
    std::size_t capacity = kReadBlockBytes;
    if (std::fseek(file, 0, SEEK_END) == 0) {
        const long size = std::ftell(file);
        if (size >= 0 && static_cast<unsigned long>(size) < kReadBlockBytes)
            capacity = std::max<std::size_t>(static_cast<std::size_t>(size) + 1, kSmallestBuffer);
    }
    std::rewind(file);
    std::unique_ptr<char[]> buffer(new (std::nothrow) char[capacity + 1 + kPadding]());
    std::size_t carried = 0;
    std::uint64_t lineStart = 0; // file offset of the buffer's first byte
    while (buffer) {
        const std::size_t got = std::fread(buffer.get() + carried, 1, capacity - carried, file);
        if (got == 0) {
            // The last line, without its newline: the sentinel goes right behind it.
            if (carried > 0) {
                buffer[carried] = '\n';
                appendObjLines(buffer.get(), buffer.get() + carried, mesh);
            }
            break;
        }
        const std::size_t filled = carried + got;
        const char* const newline = lastNewline(buffer.get(), filled);
        if (newline == nullptr) {
            // No newline yet: a line longer than the buffer. Grow it and read on.
            carried = filled;
            if (carried == capacity) {
                const std::size_t limit = std::max(maxLineBytes, kReadBlockBytes);
                std::unique_ptr<char[]> grown(
                    capacity < limit ? new (std::nothrow) char[std::min(2 * capacity, limit) + 1 + kPadding]()
                                     : nullptr);
                if (!grown) {
                    mesh.clear();
                    error = "The line at byte " + std::to_string(lineStart) + " of " + fileName +
                            (capacity < limit ? " does not fit in memory"
                                              : " is longer than " + std::to_string(limit >> 20) + " MiB") +
                            ": the file is not read.";
                    return false;
                }
                std::memcpy(grown.get(), buffer.get(), carried);
                buffer = std::move(grown);
                capacity = std::min(2 * capacity, limit);
            }
            continue;
        }
        // The block's last newline is the sentinel; the partial line behind it is the padding.
        appendObjLines(buffer.get(), newline, mesh);
        const std::size_t complete = static_cast<std::size_t>(newline - buffer.get()) + 1;
        carried = filled - complete;
        lineStart += complete;
        std::memmove(buffer.get(), buffer.get() + complete, carried);
    }
    return true;
}

int ObjSequenceFrame(double time) {
    if (std::isnan(time))
        return 0;
    if (time >= static_cast<double>(std::numeric_limits<int>::max()))
        return std::numeric_limits<int>::max();
    if (time <= static_cast<double>(std::numeric_limits<int>::min()))
        return std::numeric_limits<int>::min();
    return static_cast<int>(time);
}

int RemoveUnbuildableFaces(KObjMesh& mesh) {
    const long long numPoints = static_cast<long long>(mesh.points.size());
    std::size_t readAt = 0, writeAt = 0;
    int kept = 0, removed = 0;
    for (int face = 0; face < mesh.polygonCounts.length(); ++face) {
        const int count = mesh.polygonCounts[face];
        // The reader writes one index per counted token; a mesh filled by other code that lists
        // fewer indices than its counts loses that face and every face after it.
        const std::size_t corners = static_cast<std::size_t>(count < 0 ? 0 : count);
        bool buildable = count >= 3 && readAt + corners <= mesh.polygonConnects.size();
        for (std::size_t c = 0; buildable && c < corners; ++c) {
            const int index = mesh.polygonConnects[readAt + c];
            buildable = index >= 0 && index < numPoints;
        }
        if (buildable) {
            std::copy(mesh.polygonConnects.begin() + static_cast<std::ptrdiff_t>(readAt),
                      mesh.polygonConnects.begin() + static_cast<std::ptrdiff_t>(readAt + corners),
                      mesh.polygonConnects.begin() + static_cast<std::ptrdiff_t>(writeAt));
            mesh.polygonCounts[kept++] = count;
            writeAt += corners;
        } else {
            ++removed;
        }
        readAt += corners;
    }
    mesh.polygonCounts.resize(static_cast<std::size_t>(kept));
    mesh.polygonConnects.resize(writeAt);
    return removed;
}

} // namespace Kelno
