// Value types of the host stand-in: the behaviour plug-in code relies on.
#include <host/Host.h>

#include <maya/MMatrix.h>
#include <maya/MPoint.h>
#include <maya/MStatus.h>
#include <maya/MString.h>
#include <maya/MStringArray.h>
#include <maya/MTime.h>
#include <maya/MVector.h>

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

TEST(MStatusTest, PerrorAndCheckMacroWriteToStandardError) {
    // perror("") writes the error string alone: CHECK_MSTATUS's text below ends with it.
    MStatus st(MS::kFailure);
    testing::internal::CaptureStderr();
    st.perror("Failed to register: KMeshLoader");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              std::string("Failed to register: KMeshLoader: ") + st.errorString().asChar() + "\n");
    EXPECT_NE(std::string(st.errorString().asChar()).find("kFailure"), std::string::npos);
    testing::internal::CaptureStderr();
    CHECK_MSTATUS(MStatus(MS::kInvalidParameter));
    const int line = __LINE__ - 1;
    CHECK_MSTATUS(MStatus(MS::kSuccess));
    std::string text = testing::internal::GetCapturedStderr();
    EXPECT_EQ(text, std::string("\nAPI error detected in ") + __FILE__ + " at line " + std::to_string(line) +
                        "\n" + MStatus(MS::kInvalidParameter).errorString().asChar() + "\n");
    EXPECT_NE(text.find("kInvalidParameter"), std::string::npos);
}

TEST(MStringTest, SplitSubstringNumbers) {
    const struct {
        const char* text;
        char by;
        std::vector<std::string> parts;
    } splits[] = {{"/data//seq/mesh_0001.obj/", '/', {"data", "seq", "mesh_0001.obj"}},
                  {"", '/', {}},
                  {"///", '/', {}},
                  {"a.b.c", '.', {"a", "b", "c"}}};
    for (const auto& c : splits) {
        MStringArray parts;
        MString(c.text).split(c.by, parts);
        std::vector<std::string> got;
        for (unsigned int i = 0; i < parts.length(); ++i)
            got.push_back(parts[i].asChar());
        EXPECT_EQ(got, c.parts) << c.text;
    }
    // substring is inclusive and clamped.
    MString s("mesh_0001.obj");
    EXPECT_EQ(s.substring(0, 3), "mesh");
    EXPECT_EQ(s.substring(5, 8), "0001");
    EXPECT_EQ(s.substring(0, -1), "");
    EXPECT_EQ(s.substring(4, 2), "");
    EXPECT_EQ(s.substring(10, 100), "obj");
    EXPECT_EQ(s.length(), 13u);
    MString n("frame ");
    n += 12;
    n += " ";
    n += 0.5;
    n += " ";
    n += 2.0;
    n += " ";
    n += 1.0e7;
    n += " ";
    n += 3u;
    n += " ";
    n += 0.1f;
    EXPECT_EQ(n, "frame 12 0.5 2 1e+07 3 0.1");
    EXPECT_EQ(MString("a") + 5, "a5");
    EXPECT_EQ("x" + MString("y"), "xy");
    EXPECT_DOUBLE_EQ(MString("2.5").asDouble(), 2.5);
    EXPECT_DOUBLE_EQ(MString("-1e3").asDouble(), -1000.0);
    EXPECT_TRUE(MString("42").isInt());
    EXPECT_FALSE(MString("4x2").isInt());
    EXPECT_FALSE(MString("").isDouble());
    EXPECT_TRUE(MString("7").isUnsigned());
    EXPECT_FALSE(MString("-7").isUnsigned());
    EXPECT_EQ(MString("17").asInt(), 17);
}

TEST(MTimeTest, AValueAloneIsInFilmUnitsWhateverTheUiUnit) {
    Host::resetSession();
    MTime t(48.0, MTime::kFilm);
    EXPECT_DOUBLE_EQ(t.as(MTime::kSeconds), 2.0);
    EXPECT_DOUBLE_EQ(t.as(MTime::kNTSCFrame), 60.0);
    EXPECT_EQ(MTime(1.0, MTime::kSeconds), MTime(24.0, MTime::kFilm));
    EXPECT_TRUE(MTime(1.0, MTime::kPALFrame) < MTime(1.0, MTime::kFilm));
    MTime::setUIUnit(MTime::kPALFrame);
    EXPECT_EQ(MTime(10.0).unit(), MTime::kFilm) << "the constructor's default unit is film";
    EXPECT_EQ(MTime().unit(), MTime::kPALFrame) << "the default time is zero in the UI unit";
    MTime::setUIUnit(MTime::kFilm);
    MTime u(2.0, MTime::kSeconds);
    u.setUnit(MTime::kFilm);
    EXPECT_DOUBLE_EQ(u.value(), 48.0);
}

TEST(MMatrixTest, RowVectorConventionAndInverse) {
    MMatrix t;
    t[3][0] = 1.0;
    t[3][1] = 2.0;
    t[3][2] = 3.0;
    MMatrix s;
    s[0][0] = s[1][1] = s[2][2] = 2.0;
    // p * (S * T) scales first, then translates.
    MPoint p = MPoint(1, 1, 1) * (s * t);
    EXPECT_TRUE(p.isEquivalent(MPoint(3, 4, 5)));
    EXPECT_TRUE((MVector(1, 0, 0) * t).isEquivalent(MVector(1, 0, 0)));
    std::mt19937 rng(3);
    std::uniform_real_distribution<double> u(-2.0, 2.0);
    for (int trial = 0; trial < 20; ++trial) {
        MMatrix m;
        for (int r = 0; r < 4; ++r)
            for (int c = 0; c < 4; ++c)
                m[r][c] = u(rng) + (r == c ? 5.0 : 0.0);
        EXPECT_TRUE((m * m.inverse()).isEquivalent(MMatrix::identity, 1e-9));
    }
}
