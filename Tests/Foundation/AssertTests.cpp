#include "AssertRecorder.h"

#include <gtest/gtest.h>

namespace {

int evaluations = 0;
bool countedFalse() {
    ++evaluations;
    return false;
}

} // namespace

TEST(Assert, ReportsTheConditionTextExactlyAndContinues) {
    Tarn::Testing::AssertRecorder recorder;
    std::size_t next = 3;
    std::size_t limit = 2;
    bool continued = false;
    TARN_ASSERT(next < limit && "Component pool over capacity.");
    continued = true;
    ASSERT_EQ(recorder.count(), 1u);
    EXPECT_EQ(recorder.texts()[0], "next < limit && \"Component pool over capacity.\"");
    EXPECT_TRUE(continued);
}

TEST(Assert, PassingConditionReportsNothingAndIsEvaluatedOnce) {
    Tarn::Testing::AssertRecorder recorder;
    evaluations = 0;
    TARN_ASSERT(!countedFalse());
    EXPECT_TRUE(recorder.empty());
    EXPECT_EQ(evaluations, 1);
}

TEST(Assert, HandlerIsRestoredAndNullMeansDefault) {
    Tarn::AssertHandler before = Tarn::getAssertHandler();
    {
        Tarn::Testing::AssertRecorder recorder;
        EXPECT_NE(Tarn::getAssertHandler(), before);
    }
    EXPECT_EQ(Tarn::getAssertHandler(), before);
    Tarn::AssertHandler previous = Tarn::setAssertHandler(nullptr);
    EXPECT_NE(Tarn::getAssertHandler(), nullptr);
    Tarn::setAssertHandler(previous);
}

TEST(Assert, DefaultHandlerWritesOneLineToStandardError) {
    testing::internal::CaptureStderr();
    Tarn::reportAssertion("x && \"message\"", "File.cpp", 12);
    std::string out = testing::internal::GetCapturedStderr();
    EXPECT_EQ(out, "File.cpp(12): Assertion failed: x && \"message\"\n");
}
