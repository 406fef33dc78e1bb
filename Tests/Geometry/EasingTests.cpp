#include <Tarn/Geometry/Easing.h>
#include <Tarn/Geometry/QuadIndices.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <vector>

namespace {

using Curve = float (*)(float);
struct NamedCurve {
    const char* name;
    Curve fn;
};

namespace E = Tarn::EasingFn;

#define CURVE(name)                                                                                          \
    { #name, E::name }
const NamedCurve kCurves[] = {
    CURVE(linear),        CURVE(quadraticIn),    CURVE(quadraticOut),     CURVE(quadraticInOut),
    CURVE(cubicIn),       CURVE(cubicOut),       CURVE(cubicInOut),       CURVE(quarticIn),
    CURVE(quarticOut),    CURVE(quarticInOut),   CURVE(quinticIn),        CURVE(quinticOut),
    CURVE(quinticInOut),  CURVE(sinusoidalIn),   CURVE(sinusoidalOut),    CURVE(sinusoidalInOut),
    CURVE(exponentialIn), CURVE(exponentialOut), CURVE(exponentialInOut), CURVE(circularIn),
    CURVE(circularOut),   CURVE(circularInOut),  CURVE(elasticIn),        CURVE(elasticOut),
    CURVE(elasticInOut),  CURVE(backIn),         CURVE(backOut),          CURVE(backInOut),
    CURVE(bounceIn),      CURVE(bounceOut),      CURVE(bounceInOut)};
#undef CURVE

} // namespace

TEST(Easing, EndpointsAndInOutSymmetry) {
    for (const NamedCurve& curve : kCurves) {
        SCOPED_TRACE(curve.name);
        EXPECT_NEAR(curve.fn(0.0f), 0.0f, 2e-6f);
        EXPECT_NEAR(curve.fn(1.0f), 1.0f, 2e-6f);
    }
    // The exponentials never reach their ends on their own: the ends are special-cased to be exact.
    EXPECT_EQ(E::exponentialIn(0.0f), 0.0f);
    EXPECT_EQ(E::exponentialOut(1.0f), 1.0f);
    EXPECT_EQ(E::exponentialInOut(0.0f), 0.0f);
    EXPECT_EQ(E::exponentialInOut(1.0f), 1.0f);

    // The in-out forms meet halfway and mirror about it.
    const Curve inOut[] = {E::quadraticInOut, E::cubicInOut,      E::quarticInOut,
                           E::quinticInOut,   E::sinusoidalInOut, E::exponentialInOut,
                           E::circularInOut,  E::backInOut,       E::bounceInOut};
    for (Curve fn : inOut) {
        EXPECT_NEAR(fn(0.5f), 0.5f, 1e-6f);
        for (float t : {0.1f, 0.25f, 0.4f}) {
            EXPECT_NEAR(fn(t) + fn(1.0f - t), 1.0f, 1e-5f) << t;
        }
    }
}

TEST(Easing, ValuesAtPointsWithKnownClosedForms) {
    // Chosen so that every intermediate is exact in single precision.
    EXPECT_EQ(E::quadraticInOut(0.75f), 0.875f);
    EXPECT_EQ(E::cubicInOut(0.75f), 0.9375f);
    EXPECT_EQ(E::quarticInOut(0.75f), 0.96875f);
    EXPECT_EQ(E::quinticOut(0.5f), 0.96875f);
    EXPECT_EQ(E::circularIn(0.6f), 1.0f - std::sqrt(1.0f - 0.36f));
    EXPECT_NEAR(E::exponentialIn(0.9f), 0.5f, 1e-6f);
    EXPECT_EQ(E::exponentialInOut(0.5f), 0.5f);
    EXPECT_NEAR(E::exponentialOut(0.1f), 0.5f, 1e-6f);
    EXPECT_NEAR(E::sinusoidalOut(1.0f / 3.0f), 0.5f, 1e-6f);
    EXPECT_NEAR(E::sinusoidalIn(2.0f / 3.0f), 0.5f, 1e-6f);
    EXPECT_NEAR(E::backIn(0.5f), 0.25f * (2.70158f * 0.5f - 1.70158f), 1e-6f); // overshoots below 0
    // The elastic sine passes through zero at the phase shift: t = 0.1 lands exactly on 1 (Out)
    // and a whole period later the In curve is back at its own rest value.
    EXPECT_NEAR(E::elasticOut(0.1f), 1.0f, 1e-6f);
    EXPECT_NEAR(E::elasticOut(0.5f), 1.0f, 1e-6f);
    EXPECT_NEAR(E::elasticIn(0.5f), 0.0f, 1e-6f);
    // The bounce touches the ground at the join of its first two segments.
    EXPECT_NEAR(E::bounceOut(0.36363637f), 1.0f, 1e-6f);
    EXPECT_NEAR(E::bounceOut(std::nextafter(0.72727275f, 0.0f)), 1.0f, 1e-6f);
}

TEST(Easing, ThirdBounceSegmentKeepsItsOwnFactor) {
    // 7.562 rather than 7.5625: the value at 0.9 is below what the common factor would give by
    // 0.0005 * (0.9 - 0.8181818)^2, and the segment ends in a small step.
    const float d = 0.9f - 0.8181818f;
    EXPECT_EQ(E::bounceOut(0.9f), 7.562f * d * d + 0.9375f);
    EXPECT_LT(E::bounceOut(0.9f), 7.5625f * d * d + 0.9375f);
    const float joinBefore = std::nextafter(0.90909094f, 0.0f);
    EXPECT_LT(E::bounceOut(joinBefore), E::bounceOut(0.90909094f) - 1e-6f);
    // Where the third segment starts, the second one ends on the ground (1) and the third sits
    // 0.0005 * (1/11)^2 lower.
    EXPECT_NEAR(E::bounceOut(0.72727275f), 1.0f - 0.0005f / 121.0f, 2e-7f);
    EXPECT_EQ(E::bounceIn(0.1f), 1.0f - E::bounceOut(0.9f));
}

TEST(Easing, NothingIsClamped) {
    const struct {
        Curve fn;
        float t, expected;
    } exact[] = {{E::linear, -1.5f, -1.5f},        {E::quadraticIn, 2.0f, 4.0f},
                 {E::quadraticOut, 2.0f, 0.0f},    {E::cubicIn, -1.0f, -1.0f},
                 {E::cubicOut, 2.0f, 2.0f},        {E::quarticOut, 2.0f, 0.0f},
                 {E::exponentialIn, 2.0f, 1024.0f}};
    for (std::size_t i = 0; i < std::size(exact); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(exact[i].fn(exact[i].t), exact[i].expected);
    }
    EXPECT_NEAR(E::exponentialOut(-0.1f), -1.0f, 1e-6f);
    EXPECT_NEAR(E::backOut(2.0f), 5.40316f, 1e-6f);
    EXPECT_TRUE(std::isnan(E::circularIn(2.0f)));
    EXPECT_GT(E::bounceOut(1.5f), 1.0f);
}

TEST(QuadIndices, SharedAndIndependentQuadsAppend) {
    std::vector<uint32_t> shared;
    Tarn::Geometry::generateQuadIndices(shared, 2, 0, true);
    EXPECT_EQ(shared, (std::vector<uint32_t>{0, 1, 2, 2, 1, 3, 2, 3, 4, 4, 3, 5}));

    std::vector<uint32_t> independent{99};
    Tarn::Geometry::generateQuadIndices(independent, 2, 0, false);
    EXPECT_EQ(independent, (std::vector<uint32_t>{99, 0, 1, 2, 2, 1, 3, 4, 5, 6, 6, 5, 7}));

    std::vector<uint32_t> offset;
    Tarn::Geometry::generateQuadIndices(offset, 1, 10, true);
    Tarn::Geometry::generateQuadIndices(offset, 1, 12, false);
    Tarn::Geometry::generateQuadIndices(offset, 0, 5, true);
    EXPECT_EQ(offset, (std::vector<uint32_t>{10, 11, 12, 12, 11, 13, 12, 13, 14, 14, 13, 15}));
}
