// MTransformationMatrix::getRotation: Euler angles in each of the six orders recompose to the
// matrix they came from, including at gimbal lock.
#include <maya/MMatrix.h>
#include <maya/MTransformationMatrix.h>

#include <gtest/gtest.h>

#include <cmath>

namespace {

// Rotation about one axis for row vectors (p' = p * R).
MMatrix axisRotation(int axis, double angle) {
    MMatrix m;
    const int a = (axis + 1) % 3, b = (axis + 2) % 3;
    m(a, a) = std::cos(angle);
    m(a, b) = std::sin(angle);
    m(b, a) = -std::sin(angle);
    m(b, b) = std::cos(angle);
    return m;
}

// The composition an order stands for: its first axis applied first.
MMatrix compose(MTransformationMatrix::RotationOrder order, const double angles[3]) {
    static const int kAxes[6][3] = {{0, 1, 2}, {1, 2, 0}, {2, 0, 1}, {0, 2, 1}, {1, 0, 2}, {2, 1, 0}};
    const int* axes = kAxes[order - MTransformationMatrix::kXYZ];
    return axisRotation(axes[0], angles[axes[0]]) * axisRotation(axes[1], angles[axes[1]]) *
           axisRotation(axes[2], angles[axes[2]]);
}

TEST(MTransformationMatrix, EulerAnglesRoundTripInEveryOrderWhateverTheScaleAndTranslation) {
    const double half = 1.5707963267948966;
    const double triples[][3] = {{0.3, -0.7, 1.1}, {-2.5, 0.4, 2.9}, {1.0, half, -0.4}, {0.2, -half, 0.9}};
    static const int kMiddle[6] = {1, 2, 0, 2, 0, 1};
    for (int o = MTransformationMatrix::kXYZ; o <= MTransformationMatrix::kZYX; ++o) {
        const auto order = static_cast<MTransformationMatrix::RotationOrder>(o);
        for (const auto& in : triples) {
            SCOPED_TRACE(testing::Message()
                         << "order " << o << " angles " << in[0] << " " << in[1] << " " << in[2]);
            // The same rotation in that order, whatever the angles that name it (gimbal lock too).
            double angles[3] = {in[0], in[1], in[2]}, fromScaled[3];
            const MMatrix r = compose(order, angles);
            MTransformationMatrix::RotationOrder asked = order;
            ASSERT_EQ(MTransformationMatrix(r).getRotation(angles, asked), MS::kSuccess);
            EXPECT_EQ(asked, order);
            EXPECT_TRUE(compose(order, angles).isEquivalent(r, 1e-9)) << compose(order, angles) << r;
            MMatrix scaled = r;
            for (int c = 0; c < 3; ++c) {
                scaled(0, c) *= 2.0;
                scaled(2, c) *= 0.5;
            }
            scaled(3, 0) = 7.0;
            ASSERT_TRUE(MTransformationMatrix(scaled).getRotation(fromScaled, asked));
            // Away from gimbal lock the decomposition is unique: the angles come back.
            for (int k = 0; std::fabs(in[kMiddle[o - 1]]) < half - 0.1 && k < 3; ++k) {
                EXPECT_NEAR(angles[k], in[k], 1e-12) << k;
                EXPECT_NEAR(fromScaled[k], in[k], 1e-12) << k;
            }
        }
    }
    for (MTransformationMatrix::RotationOrder bad :
         {MTransformationMatrix::kInvalid, MTransformationMatrix::kLast}) {
        double untouched[3] = {5, 6, 7};
        EXPECT_EQ(MTransformationMatrix().getRotation(untouched, bad), MS::kInvalidParameter);
        EXPECT_EQ(untouched[0], 5.0);
    }
}

} // namespace
