// UV files: the exact bytes written, every way a damaged file is refused (leaving the layout as
// it was), the fit to a mesh's faces, and the texture coordinates of OBJ text.
#include <kelno/KUVFile.h>

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

using namespace Kelno;

namespace {

// A triangle and a quad with UVs and a face without: 3 faces, 7 ids, 5 UVs.
KUVLayout sampleLayout() {
    return {
        {3, 4, 0}, {0, 1, 2, 1, 3, 4, 2}, {0.0f, 1.0f, 0.5f, 1.0f, 0.25f}, {0.0f, 0.0f, 1.0f, 2.0f, -1.5f}};
}

// Values as the file holds them: 4 bytes each, in the machine's order.
template <typename T> std::string raw(std::initializer_list<T> values) {
    return std::string(reinterpret_cast<const char*>(values.begin()), sizeof(T) * values.size());
}
std::string ints(std::initializer_list<int> values) { return raw(values); }
std::string floats(std::initializer_list<float> values) { return raw(values); }

TEST(KUVFile, BytesAreTheCountsAndArraysInOrder) {
    const std::string bytes = EncodeUVFile(sampleLayout());
    const std::string expected = ints({3, 3, 4, 0, 7, 0, 1, 2, 1, 3, 4, 2, 5}) +
                                 floats({0.0f, 1.0f, 0.5f, 1.0f, 0.25f, 0.0f, 0.0f, 1.0f, 2.0f, -1.5f});
    EXPECT_EQ(bytes, expected);
    EXPECT_EQ(bytes.size(), UVFileSize(3, 7, 5));
    EXPECT_EQ(EncodeUVFile(KUVLayout()), ints({0, 0, 0}));

    KUVLayout back;
    std::string error;
    ASSERT_TRUE(DecodeUVFile(bytes.data(), bytes.size(), back, error)) << error;
    EXPECT_EQ(error, "");
    EXPECT_EQ(EncodeUVFile(back), bytes) << "the same layout back";
}

TEST(KUVFile, EveryTruncationIsRefusedAndLeavesTheLayout) {
    const std::string bytes = EncodeUVFile(sampleLayout());
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        KUVLayout layout;
        layout.u = {42.0f};
        layout.v = {43.0f};
        std::string error;
        EXPECT_FALSE(DecodeUVFile(bytes.data(), size, layout, error)) << size;
        EXPECT_NE(error, "") << size;
        EXPECT_EQ(layout.u, KFloatArray({42.0f})) << size;
        EXPECT_TRUE(layout.uvCounts.empty()) << size;
    }
}

TEST(KUVFile, DamagedFilesAreRefusedWithTheirReason) {
    const int big = 0x7fffffff;
    const struct {
        const char* what;
        std::string bytes;
        const char* reason;
    } cases[] = {
        {"empty", "", "file ends at byte 0 before faceCount"},
        {"no uvIdCount", ints({1, 3}), "uvCounts needs 8 more bytes at byte 4 but the file has 4"},
        {"huge faceCount", ints({big, 0, 0}), "uvCounts needs 8589934592 more bytes"},
        {"negative faceCount", ints({-1, 0, 0}), "faceCount is negative (-1) at byte 0"},
        {"negative uvIdCount", ints({0, -5, 0}), "uvIdCount is negative (-5) at byte 4"},
        {"negative uvCount", ints({0, 0, -2}), "uvCount is negative (-2) at byte 8"},
        {"huge uvCount", ints({0, 0, big}), "uArray and vArray needs 17179869176 more bytes"},
        {"one float short", ints({0, 0, 1}) + floats({1.0f}),
         "needs 8 more bytes at byte 12 but the file has 4"},
        {"over-long", ints({0, 0, 0, 7}),
         "4 bytes follow the last field (a file of these counts has 12 bytes)"},
        {"one stray byte", ints({0, 0, 0}) + "x", "1 bytes follow the last field"},
        {"negative face count entry", ints({1, -3, 0, 0}), "face 0 has a negative UV count (-3)"},
        {"counts and ids disagree", ints({1, 3, 2, 0, 0, 0}), "add up to 3 but there are 2 UV indices"},
        {"id past the UVs", ints({1, 1, 1, 1, 1}) + floats({0, 0}), "UV index 0 is 1, outside the 1 UVs"},
        {"negative id", ints({1, 1, 1, -1, 1}) + floats({0, 0}), "UV index 0 is -1, outside the 1 UVs"},
    };
    for (const auto& c : cases) {
        KUVLayout layout = sampleLayout();
        std::string error;
        EXPECT_FALSE(DecodeUVFile(c.bytes.data(), c.bytes.size(), layout, error)) << c.what;
        EXPECT_NE(error.find(c.reason), std::string::npos) << c.what << ": " << error;
        EXPECT_EQ(layout.uvIds, sampleLayout().uvIds) << c.what;
    }
}

TEST(KUVFile, FilesOnDisk) {
    const std::string path = testing::TempDir() + "kelno_uvfile_" + std::to_string(getpid()) + ".uv";
    std::string error;
    ASSERT_TRUE(WriteUVFile(path, sampleLayout(), error)) << error;
    KUVLayout back;
    ASSERT_TRUE(ReadUVFile(path, back, error)) << error;
    EXPECT_EQ(back.uvIds, sampleLayout().uvIds);
    std::ofstream(path, std::ios::binary | std::ios::app) << "!";
    EXPECT_FALSE(ReadUVFile(path, back, error));
    EXPECT_EQ(error, "1 bytes follow the last field (a file of these counts has 92 bytes)");
    std::remove(path.c_str());
    EXPECT_FALSE(ReadUVFile(path, back, error));
    EXPECT_EQ(error, "cannot open " + path);
    EXPECT_FALSE(WriteUVFile("/nonexistent/dir/a.uv", sampleLayout(), error));
    EXPECT_EQ(error.rfind("cannot open /nonexistent/dir/a.uv for writing", 0), 0u) << error;
}

TEST(KUVFile, LayoutsFitFacesWithNoUVsOrOnePerCorner) {
    const struct {
        std::vector<int> faces;
        const char* misfit;
    } cases[] = {
        {{3, 4, 5}, ""},
        {{3, 4, 3}, ""},
        {{3, 4}, "the file has 3 faces, the mesh 2"},
        {{4, 4, 4}, "face 0 has 3 UVs for 4 corners"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(UVLayoutFitsFaces(sampleLayout(), KIntArray(c.faces.begin(), c.faces.end())), c.misfit);
}

TEST(KUVFile, ObjTextureCoordinatesFollowTheLoadersFaces) {
    const std::string obj = "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\n"
                            "vt 0 0\nvt 1 0 7\nvt 1 1\nvt 0.5\n"
                            "f 1/1 2/2 3/3 4/4\n"   // quad with UVs
                            "f 1/1/1 2/-3/1 3//1\n" // one corner without: no UVs
                            "f 1 2\n"               // left out, as the loader does
                            "f 4/-1 3/-2 2/9\r\n"   // vt 9 does not exist: no UVs
                            "f 3/4 2/3 1/2 \n"      // relative and trailing blank
                            "f 1/1 2/2 9/3\n";      // vertex 9 does not exist: left out
    KObjUVs uvs;
    ParseObjUVs(obj.data(), obj.size(), uvs);
    EXPECT_EQ(uvs.pointCount, 4);
    EXPECT_EQ(uvs.facesLeftOut, 2);
    EXPECT_EQ(uvs.polygonCounts, KIntArray({4, 3, 3, 3}));
    EXPECT_EQ(uvs.polygonConnects, KIntArray({0, 1, 2, 3, 0, 1, 2, 3, 2, 1, 2, 1, 0}));
    EXPECT_EQ(uvs.layout.uvCounts, KIntArray({4, 0, 0, 3}));
    EXPECT_EQ(uvs.layout.uvIds, KIntArray({0, 1, 2, 3, 3, 2, 1}));
    EXPECT_EQ(uvs.layout.u, KFloatArray({0, 1, 1, 0.5f}));
    EXPECT_EQ(uvs.layout.v, KFloatArray({0, 0, 1, 0}));
    EXPECT_EQ(CheckUVLayout(uvs.layout), "");
}

} // namespace
