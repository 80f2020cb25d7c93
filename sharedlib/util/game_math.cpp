// sharedlib/util/game_math.cpp: angles, interpolation, chances and powers of two.
#include "sharedlib/util/game_math.h"
#include "sharedlib/log/gate.h"
#include <algorithm>
#include <bit>
#include <cmath>

namespace {

constexpr int kLargestPowerOfTwo = 8192;

// What repeated single-precision subtraction of `limit` leaves of a finite `angle`, rounding included: at most `limit`.
// Within one power of two every further step is the same number (ties too: the first one made the angle even), so
// nearly all steps there are taken in one leap. Steps have an effect up to 24 powers of two above `limit`.
float subtractWhileAbove(float angle, float limit) {
    while (angle > limit) {
        angle -= limit;
        double const step = static_cast<double>(angle) - static_cast<double>(angle - limit);
        if (step == 0.0) {
            return std::fmod(angle, limit);
        }
        double const lowest = std::max(std::ldexp(1.0, std::ilogb(angle)), static_cast<double>(limit)) + step;
        if (angle > lowest) {
            angle = static_cast<float>(angle - step * std::floor((angle - lowest) / step));
        }
    }
    return angle;
}

} // namespace

float nauricAngleToWorld(float angle) {
    return -angle;
}

float worldAngleToNauric(float angle) {
    return -angle;
}

float interpolate(float from, float to, float t) {
    return (to - from) * t + from;
}

namespace Kest::Orv {

float lerp(float t, float from, float to) {
    return interpolate(from, to, t);
}

} // namespace Kest::Orv

void constrainAngle(float& angle, float limit) {
    if (angle > limit) {
        angle = limit;
    } else if (angle < -limit) {
        angle = -limit;
    }
}

void validateRotation(float& angle, float limit) {
    if (!(limit > 0.0F) || !std::isfinite(angle)) {
        return;
    }
    angle = angle > 0.0F ? subtractWhileAbove(angle, limit) : -subtractWhileAbove(-angle, limit);
}

int closestPowerOfTwo(int n) {
    if (n < 2) {
        return 1;
    }
    if (n > kLargestPowerOfTwo) {
        return kLargestPowerOfTwo;
    }
    int const lower = static_cast<int>(std::bit_floor(static_cast<unsigned int>(n)));
    int const upper = 2 * lower;
    return n - lower <= upper - n ? lower : upper;
}

float getChance(float fChancePerUnit, float unitSize, float amount, float maxChance) {
    if (fChancePerUnit < 0.0F) {
        SHAREDLIB_LOG(LogSev_Error, Log::Generic, "fChancePerUnit is %f.  It's valid range is [0,%f).",
                      static_cast<double>(fChancePerUnit), static_cast<double>(maxChance));
        fChancePerUnit = 0.0F;
    }
    if (fChancePerUnit >= maxChance) {
        return maxChance;
    }
    if (fChancePerUnit >= 1.0F) {
        return amount > 0.0F ? maxChance : 0.0F;
    }
    float const base = 1.0F / (1.0F - fChancePerUnit);
    float const tries = amount / (unitSize * maxChance);
    auto const growth = static_cast<float>(std::pow(static_cast<double>(base), static_cast<double>(tries)));
    return maxChance - maxChance / growth;
}

float makeRatioSShaped(float ratio) {
    auto const arc = static_cast<float>(std::atan(static_cast<double>((ratio - 0.5F) / 0.09F)));
    return std::max(0.36F * arc + 0.5F, 0.0F);
}
