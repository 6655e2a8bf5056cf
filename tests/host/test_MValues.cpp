// Value types of the host stand-in: the behaviour plug-in code relies on.
#include <host/Host.h>

#include <maya/MIntArray.h>
#include <maya/MMatrix.h>
#include <maya/MPoint.h>
#include <maya/MPointArray.h>
#include <maya/MStatus.h>
#include <maya/MString.h>
#include <maya/MStringArray.h>
#include <maya/MTime.h>
#include <maya/MTypeId.h>
#include <maya/MVector.h>

#include <gtest/gtest.h>

#include <cmath>
#include <random>

TEST(MStatusTest, PerrorWritesTextAndErrorStringToStandardError) {
    MStatus st(MS::kFailure);
    testing::internal::CaptureStderr();
    st.perror("Failed to register: KMeshLoader");
    std::string text = testing::internal::GetCapturedStderr();
    EXPECT_EQ(text, std::string("Failed to register: KMeshLoader: ") + st.errorString().asChar() + "\n");
    EXPECT_NE(std::string(st.errorString().asChar()).find("kFailure"), std::string::npos);

    testing::internal::CaptureStderr();
    st.perror("");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), std::string(st.errorString().asChar()) + "\n");
}

TEST(MStatusTest, CheckMacroReportsFileAndLineAndCarriesOn) {
    int reached = 0;
    testing::internal::CaptureStderr();
    CHECK_MSTATUS(MStatus(MS::kInvalidParameter));
    const int line = __LINE__ - 1;
    reached = 1;
    std::string text = testing::internal::GetCapturedStderr();
    EXPECT_EQ(reached, 1);
    EXPECT_EQ(text.rfind("\nAPI error detected in ", 0), 0u) << text;
    EXPECT_NE(text.find(std::string(" at line ") + std::to_string(line) + "\n"), std::string::npos) << text;
    EXPECT_NE(text.find("kInvalidParameter"), std::string::npos);

    testing::internal::CaptureStderr();
    CHECK_MSTATUS(MStatus(MS::kSuccess));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(MStringTest, SplitDropsEmptyPieces) {
    MStringArray parts;
    MString("/data//seq/mesh_0001.obj/").split('/', parts);
    ASSERT_EQ(parts.length(), 3u);
    EXPECT_EQ(parts[0], "data");
    EXPECT_EQ(parts[1], "seq");
    EXPECT_EQ(parts[2], "mesh_0001.obj");

    MString("").split('/', parts);
    EXPECT_EQ(parts.length(), 0u);
    MString("///").split('/', parts);
    EXPECT_EQ(parts.length(), 0u);
    MString("a.b.c").split('.', parts);
    EXPECT_EQ(parts.length(), 3u);
}

TEST(MStringTest, SubstringIsInclusiveAndClamped) {
    MString s("mesh_0001.obj");
    EXPECT_EQ(s.substring(0, 3), "mesh");
    EXPECT_EQ(s.substring(5, 8), "0001");
    EXPECT_EQ(s.substring(0, -1), "");
    EXPECT_EQ(s.substring(4, 2), "");
    EXPECT_EQ(s.substring(10, 100), "obj");
    EXPECT_EQ(s.length(), 13u);
}

TEST(MStringTest, AppendingNumbers) {
    MString s("frame ");
    s += 12;
    s += " ";
    s += 0.5;
    s += " ";
    s += 2.0;
    s += " ";
    s += 1.0e7;
    s += " ";
    s += 3u;
    s += " ";
    s += 0.1f;
    EXPECT_EQ(s, "frame 12 0.5 2 1e+07 3 0.1");
    EXPECT_EQ(MString("a") + 5, "a5");
    EXPECT_EQ("x" + MString("y"), "xy");
}

TEST(MStringTest, NumberParsing) {
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
