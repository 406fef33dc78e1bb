#include "AssertRecorder.h"

#include <gtest/gtest.h>

namespace {

int evaluations = 0;
bool countedFalse() {
    ++evaluations;
    return false;
}

} // namespace

TEST(Assert, ReportsOnlyFailuresWithTheExactTextAndContinues) {
    Tarn::Testing::AssertRecorder recorder;
    std::size_t next = 3;
    std::size_t limit = 2;
    evaluations = 0;
    TARN_ASSERT(!countedFalse()); // passes: nothing reported, evaluated once
    TARN_ASSERT(next < limit && "Component pool over capacity.");
    // Reaching the checks below is the proof that execution continued.
    EXPECT_EQ(recorder.texts(),
              std::vector<std::string>{"next < limit && \"Component pool over capacity.\""});
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
