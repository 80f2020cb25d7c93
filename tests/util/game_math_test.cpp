// tests/util/game_math_test.cpp: angles, interpolation, chances and powers of two.
#include "sharedlib/util/game_math.h"
#include "tests/support/log_capture.h"
#include <cfloat>
#include <climits>
#include <cmath>
#include <gtest/gtest.h>
#include <random>

namespace {

float applied(void (&rule)(float&, float), float angle, float limit) {
    rule(angle, limit);
    return angle;
}

TEST(GameMath, AnglesAndInterpolation) {
    EXPECT_EQ(nauricAngleToWorld(30.0F), -30.0F);
    EXPECT_EQ(worldAngleToNauric(-30.0F), 30.0F);
    EXPECT_EQ(interpolate(10.0F, 20.0F, 0.25F), 12.5F);
    EXPECT_EQ(Kest::Orv::lerp(-1.0F, 10.0F, 20.0F), 0.0F);
    EXPECT_EQ(applied(constrainAngle, 200.0F, 180.0F), 180.0F);
    EXPECT_EQ(applied(constrainAngle, -200.0F, 180.0F), -180.0F);
    EXPECT_EQ(applied(constrainAngle, -179.0F, 180.0F), -179.0F);
}

// The rule step by step; stops where a step has no effect.
float stepped(float angle, float limit) {
    for (float previous = INFINITY; std::abs(angle) > limit && angle != previous;) {
        previous = angle;
        angle += angle > 0.0F ? -limit : limit;
    }
    return angle;
}

TEST(GameMath, ValidateRotationEqualsSingleStepsToTheLastBit) {
    EXPECT_EQ(applied(validateRotation, 720.0F, 180.0F), 180.0F);
    EXPECT_EQ(applied(validateRotation, -400.0F, 360.0F), -40.0F);
    std::mt19937 random(1);
    std::uniform_real_distribution<float> size(0.0F, 17.0F);
    for (int i = 0; i < 3000; ++i) {
        // Every third limit is a whole number, on which steps are exact; every seventh has few bits, which makes ties.
        float limit = std::exp2(size(random) / 2.0F);
        limit = i % 3 == 0 ? std::floor(limit) : i % 7 == 0 ? std::floor(limit * 8.0F) / 8.0F : limit;
        // A few take millions of steps, up to those that have no effect.
        float const factor = std::exp2(i % 100 == 0 ? 22.0F + size(random) / 8.0F : size(random));
        float const angle = limit * factor * (i % 2 == 0 ? 1.0F : -1.0F);
        float const expected = stepped(angle, limit);
        ASSERT_TRUE(std::abs(expected) > limit || applied(validateRotation, angle, limit) == expected)
            << angle << " by " << limit;
    }
}

TEST(GameMath, ValidateRotationEndsForEveryInput) {
    float const huge = applied(validateRotation, 1e20F, 360.0F);
    EXPECT_TRUE(huge >= 0.0F && huge <= 360.0F);
    EXPECT_EQ(applied(validateRotation, -FLT_MAX, FLT_TRUE_MIN), 0.0F);
    EXPECT_EQ(applied(validateRotation, 33554444.0F, 2.0F), 0.0F)
        << "the first step has an effect, the second has none";
    EXPECT_EQ(applied(validateRotation, INFINITY, 180.0F), INFINITY);
    EXPECT_TRUE(std::isnan(applied(validateRotation, NAN, 180.0F)));
    for (float limit : {0.0F, -180.0F, NAN, INFINITY}) {
        EXPECT_EQ(applied(validateRotation, 500.0F, limit), 500.0F);
    }
}

TEST(GameMath, ClosestPowerOfTwoPrefersTheLower) {
    constexpr std::pair<int, int> kCases[] = {{0, 1},       {1, 1},       {2, 2},       {3, 2},          {4, 4},
                                              {6, 4},       {7, 8},       {12, 8},      {13, 16},        {6144, 4096},
                                              {6145, 8192}, {8192, 8192}, {9000, 8192}, {INT_MAX, 8192}, {INT_MIN, 1}};
    for (auto const& [n, power] : kCases) {
        EXPECT_EQ(closestPowerOfTwo(n), power) << n;
    }
}

TEST(GameMath, ChanceIsThatOfOneSuccessInManyTries) {
    EXPECT_EQ(getChance(0.0F, 1.0F, 100.0F, 1.0F), 0.0F);
    EXPECT_FLOAT_EQ(getChance(0.5F, 2.0F, 2.0F, 1.0F), 0.5F);
    EXPECT_FLOAT_EQ(getChance(0.1F, 1.0F, 1.0F, 0.5F), 0.5F * (1.0F - 0.9F * 0.9F));
    EXPECT_EQ(getChance(0.5F, 1.0F, 0.0F, 0.5F), 0.5F) << "at the largest chance nothing else counts";
    EXPECT_EQ(getChance(0.5F, 1.0F, 1e30F, 1.0F), 1.0F) << "a power beyond single precision";
    EXPECT_EQ(getChance(1.5F, 1.0F, 2.5F, 2.0F), 2.0F) << "above certainty";
    EXPECT_EQ(getChance(1.0F, 1.0F, 0.0F, 2.0F), 0.0F);
    LogCapture log;
    EXPECT_EQ(getChance(-0.5F, 1.0F, 100.0F, 1.0F), 0.0F);
    EXPECT_EQ(log.count(LogSev_Error, Log::Generic, "fChancePerUnit is -0.500000.  It's valid range is [0,1.000000)."),
              1);
}

TEST(GameMath, RatioCurveHasAFloorAndNoCeiling) {
    EXPECT_EQ(makeRatioSShaped(0.5F), 0.5F);
    EXPECT_EQ(makeRatioSShaped(0.0F), 0.0F);
    EXPECT_NEAR(makeRatioSShaped(0.25F), 0.0589133F, 5e-8F);
    EXPECT_EQ(makeRatioSShaped(1.0F), 1.0013733F);
    EXPECT_EQ(makeRatioSShaped(1e30F), 1.0654867F);
}

} // namespace
