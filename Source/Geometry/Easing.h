#pragma once

#include <Tarn/Foundation/Export.h>

/// Easing curves for animation.
///
/// Each curve maps a normalised time t to a progress value that is 0 at t = 0 and 1 at t = 1.
/// Everything is evaluated in single precision and t is never clamped: values outside [0, 1] go
/// through the same formula, so callers that extrapolate get the curve's natural continuation
/// (or NaN where it has none, as for the circular curves). The InOut forms run the In curve over
/// the first half of the time and the Out curve over the second half.
namespace Tarn::EasingFn {

/// t itself.
TARN_API float linear(float t);

/// Polynomial curves of degree 2 to 5: the In form is t^n, the Out form its mirror image
/// 1 - (1 - t)^n, the InOut form both, each over half the time.
///@{
TARN_API float quadraticIn(float t);
TARN_API float quadraticOut(float t);
TARN_API float quadraticInOut(float t);

TARN_API float cubicIn(float t);
TARN_API float cubicOut(float t);
TARN_API float cubicInOut(float t);

TARN_API float quarticIn(float t);
TARN_API float quarticOut(float t);
TARN_API float quarticInOut(float t);

TARN_API float quinticIn(float t);
TARN_API float quinticOut(float t);
TARN_API float quinticInOut(float t);
///@}

/// A quarter sine wave: 1 - cos(t * pi / 2) for In, sin(t * pi / 2) for Out, and a half cosine
/// wave, (1 - cos(t * pi)) / 2, for InOut.
///@{
TARN_API float sinusoidalIn(float t);
TARN_API float sinusoidalOut(float t);
TARN_API float sinusoidalInOut(float t);
///@}

/// Exactly 0 at t = 0 (and exactly 1 at t = 1 for the Out and InOut forms), although the
/// exponential itself never reaches those values.
///@{
TARN_API float exponentialIn(float t);
TARN_API float exponentialOut(float t);
TARN_API float exponentialInOut(float t);
///@}

/// A quarter circle: 1 - sqrt(1 - t^2) for In, sqrt(1 - (t - 1)^2) for Out. Where the square
/// root has no real value (In: |t| > 1; Out: t < 0 or t > 2) the result is NaN.
///@{
TARN_API float circularIn(float t);
TARN_API float circularOut(float t);
TARN_API float circularInOut(float t);
///@}

/// Period 0.4 and phase shift 0.1 in all three forms; the InOut form keeps the same period
/// instead of stretching it over each half.
///@{
TARN_API float elasticIn(float t);
TARN_API float elasticOut(float t);
TARN_API float elasticInOut(float t);
///@}

/// Overshoot 1.70158 (2.5949094 in the InOut form).
///@{
TARN_API float backIn(float t);
TARN_API float backOut(float t);
TARN_API float backInOut(float t);
///@}

/// bounceOut mirrored: 1 - bounceOut(1 - t).
TARN_API float bounceIn(float t);
/// Four parabolic segments. The third one uses the factor 7.562 rather than 7.5625, which leaves
/// a step of a few millionths at its ends; animations authored against it expect exactly that.
TARN_API float bounceOut(float t);
/// bounceIn over the first half of the time, bounceOut over the second.
TARN_API float bounceInOut(float t);

} // namespace Tarn::EasingFn
