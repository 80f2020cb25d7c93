// sharedlib/util/game_math.h: angles, interpolation, chances and powers of two.
#pragma once
#include "sharedlib/export.h"

/// The world's angle of a Nauric angle: its negative. Any thread.
SHAREDLIB_API float nauricAngleToWorld(float angle);
/// The Nauric angle of a world angle: its negative. Any thread.
SHAREDLIB_API float worldAngleToNauric(float angle);

/// (`to` - `from`) * `t` + `from`; `t` is not limited to 0 to 1. Any thread.
SHAREDLIB_API float interpolate(float from, float to, float t);

namespace Kest::Orv {

/// `interpolate` with the fraction first. Any thread.
SHAREDLIB_API float lerp(float t, float from, float to);

} // namespace Kest::Orv

/// Holds `angle` between -`limit` and `limit`. Any thread.
SHAREDLIB_API void constrainAngle(float& angle, float limit);

/// Subtracts `limit` (not twice it) from `angle` while it is above `limit`, then adds `limit` while it is below
/// -`limit`: with 180, 200 becomes 20 and 720 becomes 180. Takes a bounded number of steps for any angle. An angle so
/// large that subtracting has no effect becomes its remainder by `limit`; an infinite one, a NaN, and a limit of 0 or
/// below change nothing. Any thread.
SHAREDLIB_API void validateRotation(float& angle, float limit);

/// The power of two nearest to `n`, the lower one of two equally near: 1 for all below 2, 8192 for all above 8192. Any
/// thread.
SHAREDLIB_API int closestPowerOfTwo(int n);

/// The chance of at least one success in `amount` / (`unitSize` * `maxChance`) independent tries that succeed with
/// `fChancePerUnit` each, times `maxChance`. A negative `fChancePerUnit` is logged as an error and counts as 0; one of
/// at least `maxChance` gives `maxChance`. With a larger `maxChance`, a chance per unit of 1 or more gives `maxChance`
/// for a positive `amount`, else 0. Any thread.
SHAREDLIB_API float getChance(float fChancePerUnit, float unitSize, float amount, float maxChance);

/// An S-shaped curve from 0 at 0 through 0.5 at 0.5 to 1.0013733 at 1: never below 0, and up to 1.0654867 for large
/// ratios. Any thread.
SHAREDLIB_API float makeRatioSShaped(float ratio);
