#include "KUVFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <limits>
#include <sstream>

namespace Kelno {

namespace {

static_assert(sizeof(int) == 4 && sizeof(float) == 4, "UV files hold 32-bit ints and floats");

void appendBlock(std::string& out, const void* data, std::size_t count) {
    if (count)
        out.append(static_cast<const char*>(data), count * 4u);
}

void appendInt(std::string& out, int value) { appendBlock(out, &value, 1); }

// Walks the bytes of a file, checking each count against what is left before it is used.
class Reader {
  public:
    Reader(const char* data, std::size_t size) : m_data(data), m_size(size) {}

    // Reads one count; false (with `error`) when it is missing or negative.
    bool count(const char* field, int& value, std::string& error) {
        if (m_size - m_offset < 4) {
            error = std::string("file ends at byte ") + std::to_string(m_size) + " before " + field;
            return false;
        }
        std::memcpy(&value, m_data + m_offset, 4);
        if (value < 0) {
            error = std::string(field) + " is negative (" + std::to_string(value) + ") at byte " +
                    std::to_string(m_offset);
            return false;
        }
        m_offset += 4;
        return true;
    }

    // True when `count` 4-byte values (and `after` bytes behind them) are there.
    bool holds(const char* field, std::size_t count, std::size_t after, std::string& error) const {
        const std::size_t left = m_size - m_offset;
        if (count > left / 4 || count * 4 + after > left) {
            error = std::string(field) + " needs " + std::to_string(count * 4 + after) +
                    " more bytes at byte " + std::to_string(m_offset) + " but the file has " +
                    std::to_string(left);
            return false;
        }
        return true;
    }

    template <class T> void block(KArray<T>& out, std::size_t count) {
        out.resize(count);
        if (count)
            std::memcpy(out.data(), m_data + m_offset, count * 4);
        m_offset += count * 4;
    }

    std::size_t offset() const { return m_offset; }

  private:
    const char* m_data;
    std::size_t m_size;
    std::size_t m_offset = 0;
};

// The whole file as bytes; false with "cannot open/read <path>" in error.
bool readWholeFile(const std::string& path, std::string& text, std::string& error) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        error = "cannot open " + path;
        return false;
    }
    std::ostringstream bytes;
    bytes << file.rdbuf();
    if (file.bad()) {
        error = "cannot read " + path;
        return false;
    }
    text = bytes.str();
    return true;
}

} // namespace

std::string EncodeUVFile(const KUVLayout& layout) {
    const std::size_t uvCount = std::min(layout.u.size(), layout.v.size());
    std::string out;
    out.reserve(UVFileSize(layout.uvCounts.size(), layout.uvIds.size(), uvCount));
    appendInt(out, layout.uvCounts.length());
    appendBlock(out, layout.uvCounts.data(), layout.uvCounts.size());
    appendInt(out, layout.uvIds.length());
    appendBlock(out, layout.uvIds.data(), layout.uvIds.size());
    appendInt(out, static_cast<int>(uvCount));
    appendBlock(out, layout.u.data(), uvCount);
    appendBlock(out, layout.v.data(), uvCount);
    return out;
}

bool WriteUVFile(const std::string& path, const KUVLayout& layout, std::string& error) {
    error.clear();
    const std::string bytes = EncodeUVFile(layout);
    FILE* file = std::fopen(path.c_str(), "wb");
    if (!file) {
        error = "cannot open " + path + " for writing: " + std::strerror(errno);
        return false;
    }
    const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    const bool closed = std::fclose(file) == 0;
    if (written && closed)
        return true;
    error = "cannot write " + path;
    std::remove(path.c_str());
    return false;
}

bool DecodeUVFile(const char* data, std::size_t size, KUVLayout& layout, std::string& error) {
    error.clear();
    if (!data)
        size = 0;
    Reader in(data, size);
    int faceCount = 0, uvIdCount = 0, uvCount = 0;
    KUVLayout read;
    // Each array is taken only once the bytes for it and for the count after it are there.
    if (!in.count("faceCount", faceCount, error) || !in.holds("uvCounts", std::size_t(faceCount), 4, error))
        return false;
    in.block(read.uvCounts, std::size_t(faceCount));
    if (!in.count("uvIdCount", uvIdCount, error) || !in.holds("uvIds", std::size_t(uvIdCount), 4, error))
        return false;
    in.block(read.uvIds, std::size_t(uvIdCount));
    if (!in.count("uvCount", uvCount, error) ||
        !in.holds("uArray and vArray", std::size_t(uvCount) * 2, 0, error))
        return false;
    in.block(read.u, std::size_t(uvCount));
    in.block(read.v, std::size_t(uvCount));
    if (in.offset() != size) {
        error = std::to_string(size - in.offset()) +
                " bytes follow the last field (a file of these counts has " + std::to_string(in.offset()) +
                " bytes)";
        return false;
    }
    error = CheckUVLayout(read);
    if (!error.empty())
        return false;
    layout = std::move(read);
    return true;
}

bool ReadUVFile(const std::string& path, KUVLayout& layout, std::string& error) {
    std::string text;
    return readWholeFile(path, text, error) && DecodeUVFile(text.data(), text.size(), layout, error);
}

std::string CheckUVLayout(const KUVLayout& layout) {
    if (layout.u.size() != layout.v.size())
        return "uArray and vArray differ in length";
    std::int64_t corners = 0;
    for (int f = 0; f < layout.uvCounts.length(); ++f) {
        if (layout.uvCounts[f] < 0)
            return "face " + std::to_string(f) + " has a negative UV count (" +
                   std::to_string(layout.uvCounts[f]) + ")";
        corners += layout.uvCounts[f];
    }
    if (corners != layout.uvIds.length())
        return "the faces' UV counts add up to " + std::to_string(corners) + " but there are " +
               std::to_string(layout.uvIds.length()) + " UV indices";
    for (int i = 0; i < layout.uvIds.length(); ++i)
        if (layout.uvIds[i] < 0 || layout.uvIds[i] >= layout.u.length())
            return "UV index " + std::to_string(i) + " is " + std::to_string(layout.uvIds[i]) +
                   ", outside the " + std::to_string(layout.u.length()) + " UVs";
    return std::string();
}

std::string UVLayoutFitsFaces(const KUVLayout& layout, const KIntArray& faceVertexCounts) {
    if (layout.uvCounts.length() != faceVertexCounts.length())
        return "the file has " + std::to_string(layout.uvCounts.length()) + " faces, the mesh " +
               std::to_string(faceVertexCounts.length());
    for (int f = 0; f < faceVertexCounts.length(); ++f)
        if (layout.uvCounts[f] != 0 && layout.uvCounts[f] != faceVertexCounts[f])
            return "face " + std::to_string(f) + " has " + std::to_string(layout.uvCounts[f]) + " UVs for " +
                   std::to_string(faceVertexCounts[f]) + " corners";
    return std::string();
}

// ---------------------------------------------------------------------------------------------
// OBJ texture coordinates
// ---------------------------------------------------------------------------------------------

namespace {

// strtol over [p, end) without needing a terminator: optional blank space (not ' '), sign and
// digits; 0 when there are none. Clamped to the long long range, then wrapped to int by the
// caller as the OBJ reader does. Sets `digits` when at least one digit was read.
long long parseIndex(const char*& p, const char* end, bool& digits) {
    while (p < end && (*p == '\t' || *p == '\r' || *p == '\v' || *p == '\f' || *p == '\n'))
        ++p;
    bool negative = false;
    if (p < end && (*p == '+' || *p == '-'))
        negative = *p++ == '-';
    long long value = 0;
    digits = false;
    const long long limit = std::numeric_limits<long long>::max() / 10;
    bool overflow = false;
    for (; p < end && *p >= '0' && *p <= '9'; ++p) {
        digits = true;
        const int digit = *p - '0';
        if (value > limit || (value == limit && digit > 7))
            overflow = true;
        else
            value = value * 10 + digit;
    }
    if (overflow)
        return negative ? std::numeric_limits<long long>::min() : std::numeric_limits<long long>::max();
    return negative ? -value : value;
}

float parseFloat(const char*& p, const char* end) {
    while (p < end && (*p == ' ' || *p == '\t' || *p == '\r' || *p == '\v' || *p == '\f'))
        ++p;
    char buffer[64];
    std::size_t n = 0;
    while (p < end && n + 1 < sizeof(buffer) && *p != ' ' && *p != '\t' && *p != '\r' && *p != '\n')
        buffer[n++] = *p++;
    while (p < end && *p != ' ' && *p != '\t' && *p != '\r' && *p != '\n')
        ++p;
    buffer[n] = '\0';
    char* stop = nullptr;
    const float value = std::strtof(buffer, &stop);
    return stop == buffer ? 0.0f : value;
}

} // namespace

void ParseObjUVs(const char* data, std::size_t size, KObjUVs& uvs) {
    uvs = KObjUVs();
    if (!data)
        size = 0;
    const char* end = data + size;
    // Faces as read: corners and texture indices (-1: none); resolved once every record is known.
    KIntArray counts, vertices, textures;
    const char* line = data;
    while (line < end) {
        const char* lineEnd = static_cast<const char*>(std::memchr(line, '\n', std::size_t(end - line)));
        if (!lineEnd)
            lineEnd = end;
        const std::size_t length = std::size_t(lineEnd - line);
        if (length >= 2 && line[0] == 'v' && line[1] == ' ') {
            ++uvs.pointCount;
        } else if (length >= 3 && line[0] == 'v' && line[1] == 't' && line[2] == ' ') {
            const char* p = line + 3;
            const float u = parseFloat(p, lineEnd);
            const float v = parseFloat(p, lineEnd);
            uvs.layout.u.push_back(u);
            uvs.layout.v.push_back(v);
        } else if (length >= 2 && line[0] == 'f' && line[1] == ' ') {
            // Tokens split at every single blank, as the loader's reader splits them.
            int corners = 0;
            const char* token = line + 2;
            while (token < lineEnd) {
                const char* tokenEnd =
                    static_cast<const char*>(std::memchr(token, ' ', std::size_t(lineEnd - token)));
                if (!tokenEnd)
                    tokenEnd = lineEnd;
                const char* p = token;
                bool digits = false;
                vertices.push_back(
                    static_cast<int>(static_cast<unsigned int>(parseIndex(p, tokenEnd, digits)) - 1u));
                int texture = -1;
                if (p < tokenEnd && *p == '/') {
                    ++p;
                    const long long t = parseIndex(p, tokenEnd, digits);
                    const long long vtSoFar = uvs.layout.u.length();
                    if (digits && t > 0 && t <= std::numeric_limits<int>::max())
                        texture = static_cast<int>(t - 1);
                    else if (digits && t < 0 && -t <= vtSoFar)
                        texture = static_cast<int>(vtSoFar + t);
                }
                textures.push_back(texture);
                ++corners;
                token = tokenEnd + 1;
            }
            counts.push_back(corners);
        }
        line = lineEnd + 1;
    }

    const int uvCount = uvs.layout.u.length();
    std::size_t offset = 0;
    for (int count : counts) {
        bool buildable = count >= 3;
        bool mapped = true;
        for (int k = 0; k < count; ++k) {
            buildable = buildable && vertices[offset + k] >= 0 && vertices[offset + k] < uvs.pointCount;
            mapped = mapped && textures[offset + k] >= 0 && textures[offset + k] < uvCount;
        }
        if (!buildable) {
            ++uvs.facesLeftOut;
        } else {
            uvs.polygonCounts.push_back(count);
            uvs.layout.uvCounts.push_back(mapped ? count : 0);
            for (int k = 0; k < count; ++k) {
                uvs.polygonConnects.push_back(vertices[offset + k]);
                if (mapped)
                    uvs.layout.uvIds.push_back(textures[offset + k]);
            }
        }
        offset += std::size_t(count);
    }
}

bool ReadObjUVs(const std::string& path, KObjUVs& uvs, std::string& error) {
    error.clear();
    std::string text;
    if (!readWholeFile(path, text, error))
        return false;
    ParseObjUVs(text.data(), text.size(), uvs);
    return true;
}

} // namespace Kelno
