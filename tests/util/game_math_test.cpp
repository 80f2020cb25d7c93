// tests/util/game_math_test.cpp: angles, interpolation, chances and powers of two.
#include "sharedlib/util/game_math.h"
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>

namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

float validated(float angle, float limit) {
    validateRotation(angle, limit);
    return angle;
}

float constrained(float angle, float limit) {
    constrainAngle(angle, limit);
    return angle;
}

TEST(GameMath, AnglesAndInterpolation) {
    EXPECT_EQ(nauricAngleToWorld(30.0F), -30.0F);
    EXPECT_EQ(worldAngleToNauric(-30.0F), 30.0F);
    EXPECT_EQ(interpolate(10.0F, 20.0F, 0.25F), 12.5F);
    EXPECT_EQ(interpolate(10.0F, 20.0F, -1.0F), 0.0F);
    EXPECT_EQ(Kest::Orv::lerp(0.25F, 10.0F, 20.0F), 12.5F);
    EXPECT_EQ(constrained(200.0F, 180.0F), 180.0F);
    EXPECT_EQ(constrained(-200.0F, 180.0F), -180.0F);
    EXPECT_EQ(constrained(-180.0F, 180.0F), -180.0F);
}

TEST(GameMath, ValidateRotationStepsByTheLimit) {
    EXPECT_EQ(validated(200.0F, 180.0F), 20.0F);
    EXPECT_EQ(validated(720.0F, 180.0F), 180.0F);
    EXPECT_EQ(validated(-720.0F, 180.0F), -180.0F);
    EXPECT_EQ(validated(360.0F, 360.0F), 360.0F);
    EXPECT_EQ(validated(-400.0F, 360.0F), -40.0F);
}

TEST(GameMath, ValidateRotationEqualsSingleStepsToTheLastBit) {
    std::mt19937 random(1);
    std::uniform_real_distribution<float> size(0.0F, 17.0F);
    for (int i = 0; i < 3000; ++i) {
        // Every third limit is a whole number, on which steps are exact; every seventh has few bits, which makes ties.
        float limit = std::exp2(size(random) / 2.0F);
        limit = i % 3 == 0 ? std::floor(limit) : i % 7 == 0 ? std::floor(limit * 8.0F) / 8.0F : limit;
        float const angle = limit * std::exp2(size(random)) * (i % 2 == 0 ? 1.0F : -1.0F);
        float expected = angle;
        while (expected > limit) {
            expected -= limit;
        }
        while (expected < -limit) {
            expected += limit;
        }
        ASSERT_EQ(validated(angle, limit), expected) << angle << " by " << limit;
    }
    for (float angle : {16777216.0F, 33554430.0F, 20000001.0F}) {
        for (float limit : {1.0F, 1.5F, 0.99999994F, 2.5F, 3.0F}) {
            float expected = angle;
            float previous = kInfinity;
            while (expected > limit && expected != previous) {
                previous = expected;
                expected -= limit;
            }
            if (expected <= limit) {
                EXPECT_EQ(validated(angle, limit), expected) << angle << " by " << limit;
            }
        }
    }
}

TEST(GameMath, ValidateRotationEndsForEveryInput) {
    float const huge = validated(1e20F, 360.0F);
    EXPECT_TRUE(huge >= 0.0F && huge <= 360.0F);
    float const tinySteps = validated(-std::numeric_limits<float>::max(), std::numeric_limits<float>::denorm_min());
    EXPECT_EQ(tinySteps, 0.0F);
    EXPECT_EQ(validated(33554444.0F, 2.0F), 0.0F) << "the first step has an effect, the second has none";
    EXPECT_EQ(validated(kInfinity, 180.0F), kInfinity);
    EXPECT_EQ(validated(500.0F, kInfinity), 500.0F);
    EXPECT_TRUE(std::isnan(validated(kNan, 180.0F)));
    for (float limit : {0.0F, -180.0F, kNan}) {
        EXPECT_EQ(validated(500.0F, limit), 500.0F);
    }
}

TEST(GameMath, ClosestPowerOfTwoPrefersTheLower) {
    for (auto [n, power] : {std::pair{-5, 1},
                            {0, 1},
                            {1, 1},
                            {2, 2},
                            {3, 2},
                            {4, 4},
                            {5, 4},
                            {6, 4},
                            {7, 8},
                            {12, 8},
                            {13, 16},
                            {6144, 4096},
                            {6145, 8192},
                            {8192, 8192},
                            {9000, 8192},
                            {std::numeric_limits<int>::max(), 8192},
                            {std::numeric_limits<int>::min(), 1}}) {
        EXPECT_EQ(closestPowerOfTwo(n), power) << n;
    }
}

TEST(GameMath, ChanceIsThatOfOneSuccessInManyTries) {
    EXPECT_EQ(getChance(0.0F, 1.0F, 100.0F, 1.0F), 0.0F);
    EXPECT_FLOAT_EQ(getChance(0.5F, 1.0F, 2.0F, 1.0F), 0.75F);
    EXPECT_FLOAT_EQ(getChance(0.5F, 2.0F, 2.0F, 1.0F), 0.5F);
    EXPECT_FLOAT_EQ(getChance(0.1F, 1.0F, 1.0F, 0.5F), 0.5F * (1.0F - 0.9F * 0.9F));
    EXPECT_EQ(getChance(0.5F, 1.0F, 0.0F, 0.5F), 0.5F) << "at the largest chance nothing else counts";
    EXPECT_EQ(getChance(-0.5F, 1.0F, 100.0F, 1.0F), 0.0F);
    EXPECT_EQ(getChance(-0.5F, 1.0F, 100.0F, -1.0F), -1.0F);
    EXPECT_EQ(getChance(0.5F, 1.0F, 1e30F, 1.0F), 1.0F) << "a power beyond single precision";
}

TEST(GameMath, ChanceAboveCertaintyIsANumber) {
    for (float chance : {1.0F, 1.5F, kInfinity}) {
        EXPECT_EQ(getChance(chance, 1.0F, 2.5F, kInfinity > chance ? 2.0F : 1.0F), chance < kInfinity ? 2.0F : 1.0F);
    }
    EXPECT_EQ(getChance(1.0F, 1.0F, 0.0F, 2.0F), 0.0F);
}

TEST(GameMath, RatioCurveHasAFloorAndNoCeiling) {
    EXPECT_EQ(makeRatioSShaped(0.5F), 0.5F);
    EXPECT_EQ(makeRatioSShaped(0.0F), 0.0F);
    EXPECT_EQ(makeRatioSShaped(-kInfinity), 0.0F);
    EXPECT_NEAR(makeRatioSShaped(0.25F), 0.0589133F, 5e-8F);
    EXPECT_EQ(makeRatioSShaped(1.0F), 1.0013733F);
    EXPECT_EQ(makeRatioSShaped(1e30F), 1.0654867F);
}

} // namespace
