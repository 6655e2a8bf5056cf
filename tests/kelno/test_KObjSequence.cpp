#include <kelno/KObjSequence.h>

#include "support/KTestData.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <unistd.h>

using namespace Kelno;

namespace {

// A deliberately plain reader built from the standard library, line by line, as the loader's
// rules describe the format. The fast reader must agree with it bit for bit.

int minusOneAsInt(long value) {
    return static_cast<int>(static_cast<std::uint32_t>(static_cast<std::uint64_t>(value) - 1u));
}

KObjMesh referenceParse(const std::string& text) {
    std::istringstream in(text);
    KObjMesh mesh;
    std::string line;
    while (std::getline(in, line)) {
        const std::string head = line.substr(0, 2);
        if (head == "v ") {
            std::istringstream numbers(line.substr(2));
            double x = 0.0, y = 0.0, z = 0.0;
            numbers >> x >> y >> z;
            mesh.points.push_back(KObjPoint{x, y, z, 1.0});
        } else if (head == "f ") {
            std::istringstream tokens(line.substr(2));
            std::string token;
            int count = 0;
            while (std::getline(tokens, token, ' ')) {
                mesh.polygonConnects.push_back(minusOneAsInt(std::strtol(token.c_str(), nullptr, 10)));
                ++count;
            }
            mesh.polygonCounts.push_back(count);
        }
    }
    return mesh;
}

KObjMesh parse(const std::string& text) {
    KObjMesh mesh;
    ParseObjBuffer(text.data(), text.size(), mesh);
    return mesh;
}

// Exact comparison: every coordinate bit for bit, every count and index.
::testing::AssertionResult sameMesh(const KObjMesh& actual, const KObjMesh& expected) {
    for (std::size_t i = 0; i < std::min(actual.points.size(), expected.points.size()); ++i)
        if (std::memcmp(&actual.points[i], &expected.points[i], sizeof(KObjPoint)) != 0)
            return ::testing::AssertionFailure() << "vertex " << i << " differs: " << actual.points[i].x
                                                 << " " << actual.points[i].y << " " << actual.points[i].z;
    if (actual.points.size() != expected.points.size() || actual.polygonCounts != expected.polygonCounts ||
        actual.polygonConnects != expected.polygonConnects)
        return ::testing::AssertionFailure() << "vertex counts, polygon counts or connects differ";
    return ::testing::AssertionSuccess();
}

// A file in the temporary folder, removed at the end of the test.
struct TempFile {
    explicit TempFile(const std::string& contents) { std::ofstream(path, std::ios::binary) << contents; }
    ~TempFile() { std::remove(path.c_str()); }
    const std::string path = testing::TempDir() + "kelno_obj_test_" + std::to_string(getpid()) + "_" +
                             std::to_string(reinterpret_cast<std::uintptr_t>(this));
};

} // namespace

TEST(PadNumber, WritesNumbersAsPrintfZeroPaddingDoes) {
    // Wider numbers in full, the sign before the zeros and counted in the width; no negative widths.
    EXPECT_EQ(PadNumber(7, -3), "7");
    char expected[64];
    for (int width = 0; width < 14; ++width) {
        for (int number : {INT_MIN, -100000, -999, -10, -1, 0, 1, 9, 10, 4711, INT_MAX}) {
            std::snprintf(expected, sizeof expected, "%0*d", width, number);
            EXPECT_EQ(PadNumber(number, width), expected) << number << " at width " << width;
        }
    }
}

TEST(ObjSequenceFrame, TruncatesTowardZeroAndClampsToTheIntRange) {
    const struct {
        double time;
        int frame;
    } cases[] = {{12.9, 12},       {-0.5, 0},           {-12.9, -12},         {1e12, INT_MAX},
                 {-1e12, INT_MIN}, {INFINITY, INT_MAX}, {-INFINITY, INT_MIN}, {NAN, 0}};
    for (const auto& c : cases)
        EXPECT_EQ(ObjSequenceFrame(c.time), c.frame) << c.time;
}

TEST(ObjSequenceFileName, TheLiteralRuleAndItsOddButRequiredConsequences) {
    const struct {
        const char* path;
        int frame, offset;
        const char* expected;
    } cases[] = {
        {"/data/seq/mesh_0001.obj", 12, 0, "/data/seq/mesh_0012.obj"},
        {"/data/seq/mesh_0001.obj", 12, -2, "/data/seq/mesh_0010.obj"},
        {"/data/seq/mesh_9876.obj", 3, 0, "/data/seq/mesh_0003.obj"}, // the digits' value is never used
        {"/data/seq/mesh_0001.obj", 12345, 0, "/data/seq/mesh_12345.obj"},
        {"", 1, 0, "NULL"},
        {"////", 1, 0, "NULL"},
        {"/data/mesh.obj", 1, 0, "NOT A SEQUENCE FILE"},
        {"/shot01/take2/mesh.obj", 1, 0, "NOT A SEQUENCE FILE"}, // digits in folders do not count
        // Always rooted at "/", empty path pieces dropped.
        {"data/a_01.obj", 1, 0, "/data/a_01.obj"},
        {"//data//seq///mesh_01.obj/", 2, 0, "/data/seq/mesh_02.obj"},
        {"./seq/../mesh_1.obj", 4, 0, "/./seq/../mesh_4.obj"},
        // Every digit of the name counts towards the width; the number starts at the first one.
        {"/s/shot1_0010.obj", 12, 0, "/s/shot00012.obj"},
        {"/s/mesh_01.ob2", 5, 0, "/s/mesh_005.ob2"},
        // Middle dot-pieces are dropped; the prefix comes from the first dot-piece only.
        {"/s/mesh.0001.obj", 5, 0, "/s/mesh0005.obj"},
        {"/s/mesh_0001.final.v2.obj", 5, 0, "/s/mesh_00005.obj"},
        {"0001.obj", 5, 0, "/0005.obj"},
        {"/s/frame12", 5, 0, "/s/frame05.frame12"}, // without a dot the name is the extension too
        {"/s/.cache_01.obj", 5, 0, "/s/cache_005.obj"},
        {"/s/mesh_01..obj", 5, 0, "/s/mesh_05.obj"},
        // Negative frames, and sums that wrap around.
        {"/s/mesh_0001.obj", 3, -10, "/s/mesh_-007.obj"},
        {"/s/mesh_0001.obj", INT_MAX, 1, "/s/mesh_-2147483648.obj"},
        {"/s/mesh_0001.obj", INT_MIN, -1, "/s/mesh_2147483647.obj"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(ObjSequenceFileName(c.path, c.frame, c.offset), c.expected)
            << c.path << " at " << c.frame << " + " << c.offset;
}

TEST(ObjSequenceFileName, AResolvedNameResolvesAgainToTheSameSequence) {
    // Property over well-formed names: feeding the name of one frame back in gives the name of
    // any other frame that fits the width, and the number sits where the digits were.
    std::mt19937 random(7);
    const std::string letters = "abcxyz_-";
    for (int trial = 0; trial < 500; ++trial) {
        std::string prefix;
        const int prefixLength = static_cast<int>(random() % 6);
        for (int i = 0; i < prefixLength; ++i)
            prefix += letters[random() % letters.size()];
        const int width = 1 + static_cast<int>(random() % 6);
        const std::string directory = "/dir" + std::string(random() % 2 ? "/sub" : "");
        const std::string path =
            directory + "/" + prefix + std::string(static_cast<std::size_t>(width), '7') + ".obj";
        const int limit = width >= 6 ? 1000000 : static_cast<int>(std::pow(10, width));
        const int frameA = static_cast<int>(random() % static_cast<unsigned>(limit));
        const int frameB = static_cast<int>(random() % static_cast<unsigned>(limit));

        const std::string nameA = ObjSequenceFileName(path, frameA, 0);
        ASSERT_EQ(nameA, directory + "/" + prefix + PadNumber(frameA, width) + ".obj");
        EXPECT_EQ(ObjSequenceFileName(nameA, frameB, 0), ObjSequenceFileName(path, frameB, 0)) << path;
        EXPECT_EQ(ObjSequenceFileName(path, frameA, frameB), ObjSequenceFileName(path, frameA + frameB, 0));
    }
}

TEST(ObjReaderFaces, TokensAsGetlineSplitsThemAndIndicesAsStrtolReadsThem) {
    const struct {
        const char* text;
        std::vector<int> counts, connects;
    } cases[] = {
        // Only the vertex index of a slash form is read.
        {"f 1/1/1 2/2/2 3/3/3 4/4/4\nf 7//2 8//3 9//1\n", {4, 3}, {0, 1, 2, 3, 6, 7, 8}},
        // One trailing blank makes no token; two make an empty one (value 0, index -1).
        {"f 1 2 3 ", {3}, {0, 1, 2}},
        {"f 1 2 3  \n", {4}, {0, 1, 2, -1}},
        {"f 1  2\nf  1 2\n", {3, 3}, {0, -1, 1, -1, 0, 1}},
        {"f \nf 1 2 3\nf ", {0, 3, 0}, {0, 1, 2}}, // an empty record is a face of count 0
        // A tab after "f" makes the line something else; tabs between indices do not separate.
        {"f\t1 2 3\nf 1\t2\t3\nf \t5 6\n", {1, 2}, {0, 4, 5}},
        // "\r" stays in the line: after a digit it ends the number, alone it is an empty token.
        {"f 1 2 3\r\nf 4 5 6 \r\nf \r\n", {3, 4, 1}, {0, 1, 2, 3, 4, 5, -1, -1}},
        // Zero, relative and odd indices pass unresolved; huge ones clamp to long, then wrap.
        {"f 0 -1 -2 +5 x 3x\n", {6}, {-1, -2, -3, 4, -1, 2}},
        {"f 99999999999999999999 -99999999999999999999 4294967297 2147483648 -2147483648\n",
         {5},
         {-2, -1, 0, INT_MAX, INT_MAX}},
    };
    for (const auto& c : cases) {
        const KObjMesh mesh = parse(c.text);
        EXPECT_EQ(static_cast<const std::vector<int>&>(mesh.polygonCounts), c.counts) << c.text;
        EXPECT_EQ(static_cast<const std::vector<int>&>(mesh.polygonConnects), c.connects) << c.text;
        EXPECT_TRUE(mesh.points.empty());
    }
}

TEST(ObjReaderFaces, FacesTheHostCannotBuildAreLeftOutInFileOrder) {
    // 4 points: keeps faces 1 (triangle), 5 (quad) and 7 (a vertex named twice is valid).
    KObjMesh mesh = parse("v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\n"
                          "f 1 2\nf 1 2 3\nf\nf 1 2 3  \nf 1 2 5\nf 1 2 3 4\nf 0 1 2\nf 1 2 2\nf -1 -2 -3\n");
    EXPECT_EQ(RemoveUnbuildableFaces(mesh), 5);
    EXPECT_EQ(mesh.polygonCounts, KIntArray({3, 4, 3}));
    EXPECT_EQ(mesh.polygonConnects, KIntArray({0, 1, 2, 0, 1, 2, 3, 0, 1, 1}));
    EXPECT_EQ(mesh.points.size(), 4u) << "points are never removed";
    EXPECT_EQ(RemoveUnbuildableFaces(mesh), 0);

    KObjMesh noPoints = parse("f 1 2 3\n");
    EXPECT_EQ(RemoveUnbuildableFaces(noPoints), 1);
    EXPECT_TRUE(noPoints.polygonConnects.empty());
}

TEST(ObjReaderVertices, OddLinesFailAsStreamExtractionFails) {
    struct Case {
        std::string line;
        double x, y, z;
    };
    // Numbers after the third are ignored, all blank space separates, a failed number ends the line.
    const Case cases[] = {
        {"v 1 2 3", 1, 2, 3},
        {"v -1.5 2.25e2 -3E-1 0.5 0.6 0.7", -1.5, 225, -0.3},
        {"v 1\t2\t3\r", 1, 2, 3},
        {"v ", 0, 0, 0},
        {"v 1 2", 1, 2, 0},
        {"v 1 2 ", 1, 2, 0},
        {"v 1 abc 3", 1, 0, 0},
        {"v 1e 2 3", 0, 0, 0},
        {"v 1e+ 2 3", 0, 0, 0},
        {"v . 2 3", 0, 0, 0},
        {"v - 2 3", 0, 0, 0},
        {"v inf 2 3", 0, 0, 0},
        {"v nan 2 3", 0, 0, 0},
        {"v 1.5abc 2 3", 1.5, 0, 0},
        {"v 1.2.3 4", 1.2, 0.3, 4},
        {"v 1e2e3 4 5", 100, 0, 0},
        {"v 0x10 2 3", 0, 0, 0},
        {"v 5. .5 -.5", 5, 0.5, -0.5},
        {"v +7 +0 -0", 7, 0, 0},
        {"v 1e999 2 3", DBL_MAX, 0, 0},
        {"v 2 -1e999 3", 2, -DBL_MAX, 0},
        {"v 1e-999 4e-320 3", 0, 4e-320, 3},
        {"v 1,5 2 3", 1, 0, 0},
    };
    for (const Case& c : cases) {
        const KObjMesh mesh = parse(c.line + "\n");
        ASSERT_EQ(mesh.points.size(), 1u) << c.line;
        EXPECT_EQ(mesh.points[0].x, c.x) << c.line;
        EXPECT_EQ(mesh.points[0].y, c.y) << c.line;
        EXPECT_EQ(mesh.points[0].z, c.z) << c.line;
        EXPECT_TRUE(sameMesh(mesh, referenceParse(c.line + "\n"))) << c.line;
    }
    EXPECT_TRUE(parse("v\t1 2 3\n v 1 2 3\nV 1 2 3\n").points.empty()) << "not \"v \" records";
}

TEST(ObjReaderVertices, NumbersEqualStreamExtractionBitForBit) {
    std::mt19937_64 random(2024);
    // Rounding boundaries, subnormals, overflow, long mantissas and odd spellings.
    std::vector<std::string> numbers;
    std::istringstream specials(
        "0 -0 0.1 0.30000000000000004 1.7976931348623157e308 1.7976931348623158e308 "
        "1.7976931348623159e308 2.2250738585072011e-308 2.2250738585072014e-308 4.9406564584124654e-324 "
        "2.4703282292062327e-324 2.4703282292062328e-324 9007199254740993 9007199254740992.5 "
        "123456789012345678901234567890 0.000000000000000000000000000001 00000000000000000000000012.5 1e22 "
        "1e23 8.98846567431158e307 +.5e+3 7.e-2 2.5E-0010");
    for (std::string number; specials >> number;)
        numbers.push_back(number);
    char text[64];
    for (int i = 0; i < 20000; ++i) {
        double value;
        std::uint64_t bits = random();
        std::memcpy(&value, &bits, sizeof value);
        if (!std::isfinite(value))
            continue;
        switch (i % 5) {
        case 0:
            std::snprintf(text, sizeof text, "%.17g", value);
            break;
        case 1:
            std::snprintf(text, sizeof text, "%.6f", std::fmod(value, 1e4));
            break;
        case 2:
            std::snprintf(text, sizeof text, "%.*e", static_cast<int>(random() % 20), value);
            break;
        default: {
            // Random digit strings around the 15-19 digit and fast-path boundaries.
            std::string digits;
            const int count = 1 + static_cast<int>(random() % 24);
            for (int d = 0; d < count; ++d)
                digits += static_cast<char>('0' + random() % 10);
            const std::size_t point = random() % (digits.size() + 1);
            digits.insert(point, ".");
            const int exponent = static_cast<int>(random() % 80) - 40;
            std::snprintf(text, sizeof text, "%s%se%d", random() % 2 ? "-" : "", digits.c_str(), exponent);
            break;
        }
        }
        numbers.push_back(text);
    }
    std::string buffer;
    for (std::size_t i = 0; i < numbers.size(); ++i)
        buffer += "v " + numbers[i] + " " + numbers[(i * 7 + 3) % numbers.size()] + " 1\n";
    const KObjMesh expected = referenceParse(buffer);
    ASSERT_EQ(expected.points.size(), numbers.size());
    EXPECT_TRUE(sameMesh(parse(buffer), expected));
}

TEST(ObjReaderFiles, RandomMixedTextAgreesWithTheStandardLibraryReader) {
    std::mt19937 random(99);
    const char* heads[] = {"v ", "f ", "vt ", "vn ", "v\t", "f\t", "# ", "", " ", "o ", "v", "f", "g ", "l "};
    // NUL included: lines are byte strings, not C strings.
    const std::string alphabet = std::string("0123456789 ./-+eE\t\rxv") + '\0';
    for (int trial = 0; trial < 2000; ++trial) {
        std::string text;
        const int lines = static_cast<int>(random() % 30);
        for (int l = 0; l < lines; ++l) {
            text += heads[random() % (sizeof heads / sizeof heads[0])];
            const int length = static_cast<int>(random() % 30);
            for (int i = 0; i < length; ++i)
                text += alphabet[random() % alphabet.size()];
            if (random() % 8 == 0)
                text += std::string(25, '9'); // beyond the long range of strtol
            text += '\n';
        }
        if (!text.empty() && random() % 2)
            text.pop_back();
        ASSERT_TRUE(sameMesh(parse(text), referenceParse(text))) << "text:\n" << text;
    }
}

TEST(ObjReaderFiles, ReadsFromDiskAndReportsFilesThatCannotBeOpened) {
    KObjMesh mesh;
    for (const char* missing : {"/nonexistent/dir/mesh_0001.obj", "NOT A SEQUENCE FILE", ""}) {
        mesh.points.push_back(KObjPoint{1, 2, 3, 1});
        mesh.polygonCounts.push_back(3);
        EXPECT_FALSE(ReadObjFile(missing, mesh)) << missing;
        EXPECT_TRUE(mesh.points.empty() && mesh.polygonCounts.empty()) << missing;
    }
    EXPECT_EQ(ObjOpenFailureMessage("NULL"), "Failed to open the file: NULL");

    // Reading replaces, never appends; an empty file and a directory (as a text stream) read as nothing.
    const TempFile empty(""), quad("v 0 0 0\r\nv 1 0 0\r\nv 1 1 0\r\nv 0 1 0\r\nf 1 2 3 4\r\nf 1/1 3/3 4/4");
    for (const std::string& file : {quad.path, quad.path, empty.path, quad.path, std::string("/tmp")}) {
        ASSERT_TRUE(ReadObjFile(file, mesh)) << file;
        const bool isQuad = file == quad.path;
        EXPECT_EQ(mesh.points.size(), isQuad ? 4u : 0u) << file;
        EXPECT_EQ(mesh.polygonCounts, isQuad ? KIntArray({4, 3}) : KIntArray()) << file;
        EXPECT_EQ(mesh.polygonConnects, isQuad ? KIntArray({0, 1, 2, 3, 0, 2, 3}) : KIntArray()) << file;
    }
}

TEST(ObjReaderFiles, LargeFilesWithLinesAcrossReadBlocksAndVeryLongLines) {
    // Several MB, so lines straddle the reader's block boundaries wherever they fall; one face line
    // longer than a block; no newline at the very end.
    std::mt19937 random(3);
    std::string text;
    char line[96];
    while (text.size() < (3u << 20)) {
        if (random() % 3 == 0) {
            std::snprintf(line, sizeof line, "v %.9g %.4f %d\n", static_cast<double>(random()) * 1e-7,
                          static_cast<double>(random() % 20000) / 7.0, static_cast<int>(random() % 100));
        } else if (random() % 2) {
            std::snprintf(line, sizeof line, "f %lu %lu/%lu %lu//1 \r\n", random() % 99999, random() % 9,
                          random() % 9, random() % 99999);
        } else {
            std::snprintf(line, sizeof line, "vt %lu 0.5\n# comment %lu\n", random() % 10, random() % 10);
        }
        text += line;
        if (text.size() > (1u << 20) && text.size() < (1u << 20) + 64) {
            text += "f";
            for (int i = 0; i < 400000; ++i)
                text += " " + std::to_string(i % 1000);
            text += "\n";
        }
    }
    text += "v 1 2 3";
    const TempFile file(text);
    KObjMesh mesh;
    ASSERT_TRUE(ReadObjFile(file.path, mesh));
    EXPECT_TRUE(sameMesh(mesh, referenceParse(text)));
    EXPECT_GT(*std::max_element(mesh.polygonCounts.begin(), mesh.polygonCounts.end()), 399999);
    EXPECT_TRUE(sameMesh(mesh, parse(text)));
}

TEST(ObjReaderFiles, LinesPastTheCapFailWithTheirOffsetAndLeaveTheMeshEmpty) {
    // 3 MiB without a line break after two good lines, then a face: past a 2 MiB cap the read
    // fails (naming where the line starts), within a 4 MiB cap it reads as the whole buffer does.
    const std::string head = "v 0 0 0\nv 1 0 0\n";
    const std::string text = head + "#" + std::string(3u << 20, 'x') + "\nv 0 1 0\nf 1 2 3\n";
    const TempFile file(text);
    KObjMesh mesh;
    std::string error;
    EXPECT_FALSE(ReadObjFile(file.path, mesh, error, std::size_t(2) << 20));
    EXPECT_NE(error.find("The line at byte " + std::to_string(head.size()) + " of " + file.path +
                         " is longer than 2 MiB"),
              std::string::npos)
        << error;
    EXPECT_TRUE(mesh.points.empty() && mesh.polygonCounts.empty() && mesh.polygonConnects.empty());

    ASSERT_TRUE(ReadObjFile(file.path, mesh, error, std::size_t(4) << 20)) << error;
    EXPECT_TRUE(error.empty());
    EXPECT_TRUE(sameMesh(mesh, parse(text)));
    EXPECT_EQ(mesh.points.size(), 3u);

    EXPECT_FALSE(ReadObjFile(file.path + ".missing", mesh, error));
    EXPECT_EQ(error, ObjOpenFailureMessage(file.path + ".missing"));
}
