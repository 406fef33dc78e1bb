#include <Tarn/Geometry/Easing.h>

#include <cmath>

namespace Tarn::EasingFn {

namespace {

// Single-precision constants, written out as the curves were authored: results must match the
// authored values to the last bit, so nothing here is derived in double and rounded later, and the
// powers multiply from the left as written.
constexpr float kPi = 3.1415927f;
constexpr float kTwoPi = 6.2831855f;
constexpr float kElasticPeriodFactor = 2.5f; // 1 / period 0.4
constexpr float kElasticShift = 0.1f;
constexpr float kBack = 1.70158f;
constexpr float kBackPlusOne = 2.70158f;
constexpr float kBackInOut = 2.5949094f;
constexpr float kBackInOutPlusOne = 3.5949094f;

float pow2(float x) {
    return x * x;
}
float pow3(float x) {
    return x * x * x;
}
float pow4(float x) {
    return x * x * x * x;
}
float pow5(float x) {
    return x * x * x * x * x;
}

} // namespace

float linear(float t) {
    return t;
}

float quadraticIn(float t) {
    return t * t;
}
float quadraticOut(float t) {
    return (2.0f - t) * t;
}
float quadraticInOut(float t) {
    const float u = t * 2.0f;
    if (u < 1.0f) {
        return 0.5f * u * u;
    }
    const float w = u - 1.0f;
    return -0.5f * ((w - 2.0f) * w - 1.0f);
}

float cubicIn(float t) {
    return pow3(t);
}
float cubicOut(float t) {
    return pow3(t - 1.0f) + 1.0f;
}
float cubicInOut(float t) {
    const float u = t * 2.0f;
    if (u < 1.0f) {
        return 0.5f * pow3(u);
    }
    return (pow3(u - 2.0f) + 2.0f) * 0.5f;
}

float quarticIn(float t) {
    return pow4(t);
}
float quarticOut(float t) {
    return 1.0f - pow4(t - 1.0f);
}
float quarticInOut(float t) {
    const float u = t * 2.0f;
    if (u < 1.0f) {
        return 0.5f * pow4(u);
    }
    return (pow4(u - 2.0f) - 2.0f) * -0.5f;
}

float quinticIn(float t) {
    return pow5(t);
}
float quinticOut(float t) {
    return pow5(t - 1.0f) + 1.0f;
}
float quinticInOut(float t) {
    const float u = t * 2.0f;
    if (u < 1.0f) {
        return 0.5f * pow5(u);
    }
    return (pow5(u - 2.0f) + 2.0f) * 0.5f;
}

float sinusoidalIn(float t) {
    return 1.0f - std::cos(t * kPi * 0.5f);
}
float sinusoidalOut(float t) {
    return std::sin(t * kPi * 0.5f);
}
float sinusoidalInOut(float t) {
    return (1.0f - std::cos(t * kPi)) * 0.5f;
}

float exponentialIn(float t) {
    return t == 0.0f ? 0.0f : std::pow(1024.0f, t - 1.0f);
}
float exponentialOut(float t) {
    return t == 1.0f ? 1.0f : 1.0f - std::pow(2.0f, -10.0f * t);
}
float exponentialInOut(float t) {
    if (t == 0.0f) {
        return 0.0f;
    }
    if (t == 1.0f) {
        return 1.0f;
    }
    const float u = t * 2.0f;
    if (u < 1.0f) {
        return 0.5f * std::pow(1024.0f, u - 1.0f);
    }
    return (2.0f - std::pow(2.0f, -10.0f * (u - 1.0f))) * 0.5f;
}

float circularIn(float t) {
    return 1.0f - std::sqrt(1.0f - t * t);
}
float circularOut(float t) {
    return std::sqrt(1.0f - pow2(t - 1.0f));
}
float circularInOut(float t) {
    const float u = t * 2.0f;
    if (u < 1.0f) {
        return (std::sqrt(1.0f - u * u) - 1.0f) * -0.5f;
    }
    return (std::sqrt(1.0f - pow2(u - 2.0f)) + 1.0f) * 0.5f;
}

float elasticIn(float t) {
    if (t == 0.0f) {
        return 0.0f;
    }
    if (t == 1.0f) {
        return 1.0f;
    }
    const float w = t - 1.0f;
    return -std::pow(2.0f, 10.0f * w) * std::sin((w - kElasticShift) * kTwoPi * kElasticPeriodFactor);
}
float elasticOut(float t) {
    if (t == 0.0f) {
        return 0.0f;
    }
    if (t == 1.0f) {
        return 1.0f;
    }
    return std::pow(2.0f, -10.0f * t) * std::sin((t - kElasticShift) * kTwoPi * kElasticPeriodFactor) + 1.0f;
}
float elasticInOut(float t) {
    if (t == 0.0f) {
        return 0.0f;
    }
    if (t == 1.0f) {
        return 1.0f;
    }
    const float v = t * 2.0f - 1.0f;
    const float s = std::sin((v - kElasticShift) * kTwoPi * kElasticPeriodFactor);
    if (v < 0.0f) {
        return -0.5f * std::pow(2.0f, 10.0f * v) * s;
    }
    return 0.5f * std::pow(2.0f, -10.0f * v) * s + 1.0f;
}

float backIn(float t) {
    return t * t * (kBackPlusOne * t - kBack);
}
float backOut(float t) {
    const float w = t - 1.0f;
    return w * w * (kBackPlusOne * w + kBack) + 1.0f;
}
float backInOut(float t) {
    const float u = t * 2.0f;
    if (u < 1.0f) {
        return 0.5f * (u * u * (kBackInOutPlusOne * u - kBackInOut));
    }
    const float w = u - 2.0f;
    return 0.5f * (w * w * (kBackInOutPlusOne * w + kBackInOut) + 2.0f);
}

float bounceOut(float t) {
    if (t < 0.36363637f) {
        return 7.5625f * t * t;
    }
    if (t < 0.72727275f) {
        return 7.5625f * pow2(t - 0.54545456f) + 0.75f;
    }
    if (t < 0.90909094f) {
        return 7.562f * pow2(t - 0.8181818f) + 0.9375f;
    }
    return 7.5625f * pow2(t - 0.95454544f) + 0.984375f;
}
float bounceIn(float t) {
    return 1.0f - bounceOut(1.0f - t);
}
float bounceInOut(float t) {
    if (t < 0.5f) {
        return (1.0f - bounceOut(1.0f - t * 2.0f)) * 0.5f;
    }
    return bounceOut(t * 2.0f - 1.0f) * 0.5f + 0.5f;
}

} // namespace Tarn::EasingFn
