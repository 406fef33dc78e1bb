#include <Tarn/Application/Timer.h>
#include <Tarn/Input/Gestures.h>

#include "LogCapture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

using namespace Tarn;

namespace {

using Kind = Gesture::Kind;
using Lines = std::vector<std::string>;

// One line per gesture, holding exactly the fields its kind defines, e.g.
// "Drag#1 Update b0 (10,10)->(12,11)" or "Flick#5 End b0 Left (500,500) 800.0".
std::string at(glm::ivec2 p) {
    return "(" + std::to_string(p.x) + "," + std::to_string(p.y) + ")";
}

std::string describe(const Gesture& g) {
    static const char* const kinds[] = {"Hover", "Wheel", "Tap", "DoubleTap", "Press",
                                        "Drag",  "Flick", "Pan", "Rotate",    "Pinch"};
    static const char* const states[] = {"Begin", "Update", "End", "Cancel"};
    static const char* const directions[] = {"Left", "Right", "Up", "Down"};
    char number[32] = "";
    std::string line = std::string(kinds[static_cast<int>(g.kind)]) + "#" + std::to_string(g.id) + " " +
                       states[static_cast<int>(g.state)];
    if (g.kind == Kind::Wheel) {
        return line + " " + std::to_string(g.delta);
    }
    if (g.kind >= Kind::Tap && g.kind <= Kind::Flick) {
        line += " b" + std::to_string(static_cast<unsigned>(g.button));
    }
    if (g.kind == Kind::Flick) {
        line += std::string(" ") + directions[static_cast<int>(g.direction)];
        std::snprintf(number, sizeof number, " %.1f", g.speed);
    } else if (g.kind == Kind::Rotate) {
        std::snprintf(number, sizeof number, " %.4f", g.angle);
    } else if (g.kind == Kind::Pinch) {
        std::snprintf(number, sizeof number, " x%.4f", g.scale);
    }
    line += " " + at(g.position);
    if (g.kind == Kind::Drag || g.kind == Kind::Pan) {
        line += "->" + at(g.current);
    } else if (g.current != glm::ivec2(0)) {
        line += " current set"; // a field the kind does not use keeps its default
    }
    return line + number;
}

constexpr uint64_t MouseId = 0xFFFFFFFF; // the id the input translator gives the mouse
constexpr uint64_t FingerA = 0x1001;
constexpr uint64_t FingerB = 0x1002;
constexpr uint64_t FingerC = 0x1003;

PointerType typeOf(uint64_t id) {
    return id == MouseId ? PointerType::Mouse : PointerType::Touch;
}

// Scripts pointer input at given times (ms) and reads what each frame publishes.
struct Timeline {
    Gestures gestures;

    Timeline& down(double time, uint64_t id, glm::ivec2 at, MouseButton button = MouseButton::Left) {
        gestures.pointerDown(typeOf(id), id, button, at, time);
        return *this;
    }
    Timeline& move(double time, uint64_t id, glm::ivec2 at) {
        gestures.pointerMove(typeOf(id), id, at, time);
        return *this;
    }
    Timeline& up(double time, uint64_t id, glm::ivec2 at, MouseButton button = MouseButton::Left) {
        gestures.pointerUp(typeOf(id), id, button, at, time);
        return *this;
    }
    Timeline& wheel(int delta) {
        gestures.mouseWheelMove(delta);
        return *this;
    }
    /// A click: press and release at one spot.
    Timeline& click(double downTime, double upTime, glm::ivec2 at) {
        return down(downTime, MouseId, at).up(upTime, MouseId, at);
    }
    /// Ends the frame at `now` and describes what it published.
    Lines frame(double now = 0.0) {
        gestures.update(now);
        Lines lines;
        for (const Gesture& gesture : gestures.getGestures()) {
            lines.push_back(describe(gesture));
        }
        return lines;
    }
};

} // namespace

TEST(Gestures, DoubleTapKeepsTheFirstTapTime) {
    Timeline t;
    t.click(980, 1000, {5, 5}).frame();
    EXPECT_EQ(t.click(1180, 1200, {6, 5}).frame().back(), "DoubleTap#5 End b0 (6,5)");
    // 250 ms after the first tap, which is still the remembered one.
    EXPECT_EQ(t.click(1230, 1250, {7, 5}).frame().back(), "DoubleTap#8 End b0 (7,5)");
    // Exactly doubleTapTime after the first tap is too late: a plain tap, remembered anew.
    EXPECT_EQ(t.click(1290, 1300, {8, 5}).frame().back(), "Tap#11 End b0 (8,5)");
    EXPECT_EQ(t.click(1590, 1599, {9, 5}).frame().back(), "DoubleTap#14 End b0 (9,5)");
    EXPECT_EQ(t.click(1650, 1700, {9, 5}).frame().back(), "Tap#17 End b0 (9,5)") << "400 ms after 1300";

    Timeline off;
    off.gestures.setEnabled(Kind::DoubleTap, false);
    off.click(980, 1000, {5, 5}).frame();
    EXPECT_EQ(off.click(1080, 1100, {5, 5}).frame().back(), "Tap#5 End b0 (5,5)");
}

TEST(Gestures, ReleaseBeforePressTimeIsATapAfterItALongPress) {
    Timeline t;
    EXPECT_EQ(t.down(1000, MouseId, {1, 2}, MouseButton::Right).frame(), (Lines{"Press#0 Begin b1 (1,2)"}));
    EXPECT_EQ(t.up(1250, MouseId, {1, 2}, MouseButton::Right).frame(), (Lines{"Press#0 End b1 (1,2)"}));
    EXPECT_EQ(t.frame(), Lines{}) << "a frame publishes only what came after the previous one";
    // The drag started alongside each press took an id but never passed its threshold: no trace.
    EXPECT_EQ(t.down(2000, MouseId, {1, 2}).up(2249, MouseId, {1, 2}).frame(),
              (Lines{"Press#2 Begin b0 (1,2)", "Press#2 Cancel b0 (1,2)", "Tap#4 End b0 (1,2)"}));
    EXPECT_EQ(t.gestures.getPointerCount(), 0u);
    // A long press is no tap, so it does not become the remembered tap.
    t.down(2260, MouseId, {1, 2}).up(2520, MouseId, {1, 2}).frame();
    EXPECT_EQ(t.click(2530, 2540, {1, 2}).frame().back(), "DoubleTap#9 End b0 (1,2)");
}

TEST(Gestures, DragBeginsPastTheScaledThreshold) {
    for (const uint64_t id : {MouseId, FingerA}) {
        for (const float scale : {1.0f, 2.0f}) {
            SCOPED_TRACE(std::to_string(id) + " at scale " + std::to_string(scale));
            const int threshold = static_cast<int>((id == MouseId ? 1 : 16) * scale);
            Timeline t;
            t.gestures.setDisplayScale(scale);
            t.down(1000, id, {100, 100}).frame();
            EXPECT_EQ(t.move(1010, id, {100 + threshold, 100}).frame(), Lines{}) << "not past the threshold";
            EXPECT_EQ(t.move(1020, id, {100 + threshold, 101}).frame(),
                      (Lines{"Press#0 Cancel b0 (100,100)", "Drag#1 Begin b0 (100,100)->(100,100)",
                             "Drag#1 Update b0 (100,100)->" + at({100 + threshold, 101})}));
            EXPECT_EQ(t.move(1030, id, {100 + threshold, 101}).frame(), Lines{})
                << "no update without a change";
            // A slow release ends the drag where the pointer left, and there is no tap.
            EXPECT_EQ(t.up(2000, id, {90, 140}).frame(), (Lines{"Drag#1 End b0 (100,100)->(90,140)"}));
        }
    }
}

// Directions are also the documented numbers.
static_assert(Gesture::Left == 0 && Gesture::Right == 1 && Gesture::Up == 2 && Gesture::Direction::Down == 3);

TEST(Gestures, FlickInEveryDirection) {
    const std::pair<glm::ivec2, std::string> cases[] = {{{380, 500}, "Left"},
                                                        {{620, 500}, "Right"},
                                                        {{500, 380}, "Up"},
                                                        {{500, 620}, "Down"},
                                                        {{572, 404}, "Up"}}; // 72 by -96: vertical wins
    for (const auto& [to, direction] : cases) {
        Timeline t;
        const Lines lines =
            t.down(1000, MouseId, {500, 500}).move(1100, MouseId, to).up(1150, MouseId, to).frame();
        ASSERT_EQ(lines.size(), 6u);
        EXPECT_EQ(Lines(lines.begin() + 4, lines.end()),
                  (Lines{"Drag#1 Cancel b0 (500,500)->" + at(to),
                         "Flick#2 End b0 " + direction + " (500,500) 800.0"}));
    }

    // The release position counts even when no move reported it: then the press was never
    // cancelled, so the quick release is also a tap.
    Timeline touch;
    touch.down(1000, FingerA, {0, 0}).up(1100, FingerA, {0, 60});
    EXPECT_EQ(touch.frame(), (Lines{"Press#0 Begin b0 (0,0)", "Flick#2 End b0 Down (0,0) 600.0",
                                    "Press#0 Cancel b0 (0,0)", "Tap#3 End b0 (0,60)"}));
}

TEST(Gestures, FlickRejectedByTimeOrSpeed) {
    // The last gesture of a flick attempt: a move half-way through, then the release.
    auto attempt = [](uint64_t id, int distance, double duration, float scale = 1.0f, bool flick = true) {
        Timeline t;
        t.gestures.setDisplayScale(scale);
        t.gestures.setEnabled(Kind::Flick, flick);
        t.down(1000, id, {0, 0})
            .move(1000 + duration / 2, id, {distance, 0})
            .up(1000 + duration, id, {distance, 0});
        return t.frame().back();
    };
    EXPECT_EQ(attempt(MouseId, 120, 200), "Drag#1 End b0 (0,0)->(120,0)") << "not shorter than flickTime";
    EXPECT_EQ(attempt(MouseId, 16, 150), "Flick#2 End b0 Right (0,0) 106.7");
    EXPECT_EQ(attempt(MouseId, 15, 150), "Drag#1 End b0 (0,0)->(15,0)") << "exactly 100 px/s";
    EXPECT_EQ(attempt(FingerA, 75, 150), "Drag#1 End b0 (0,0)->(75,0)") << "exactly 500 px/s";
    EXPECT_EQ(attempt(FingerA, 120, 150, 2.0f), "Drag#1 End b0 (0,0)->(120,0)") << "800 < 1000 px/s";
    EXPECT_EQ(attempt(MouseId, 120, 150, 1.0f, false), "Drag#1 End b0 (0,0)->(120,0)") << "disabled";
    EXPECT_EQ(attempt(MouseId, 90, 0), "Drag#1 End b0 (0,0)->(90,0)") << "no speed without a duration";
}

TEST(Gestures, SecondFingerCancelsThePressAndUnbegunGesturesVanish) {
    Timeline t;
    t.down(1000, FingerA, {100, 100}).down(1050, FingerB, {200, 100});
    EXPECT_EQ(t.frame(), (Lines{"Press#0 Begin b0 (100,100)", "Press#0 Cancel b0 (100,100)"}));
    EXPECT_EQ(t.move(1060, FingerB, {201, 100}).up(1100, FingerB, {201, 100}).frame(), Lines{});
    EXPECT_EQ(t.up(1120, FingerA, {100, 100}).frame(), Lines{}) << "no press left to tap";
    // Pan, Rotate and Pinch took ids 2 to 4 without ever appearing.
    EXPECT_EQ(t.wheel(-120).frame(), (Lines{"Wheel#5 End -120"}));
}

TEST(Gestures, PanBeginsPastTheThresholdAndEndsOnTheFirstRelease) {
    Timeline t;
    t.gestures.setEnabled(Kind::Rotate, false);
    t.gestures.setEnabled(Kind::Pinch, false);
    t.down(1000, FingerA, {100, 100}).down(1000, FingerB, {200, 100}).frame();
    EXPECT_EQ(t.move(1010, FingerA, {116, 100}).move(1020, FingerB, {216, 100}).frame(), Lines{})
        << "a 16 px midpoint shift is not past 16 px";
    EXPECT_EQ(t.move(1030, FingerA, {116, 102}).frame(),
              (Lines{"Pan#2 Begin (150,100)->(150,100)", "Pan#2 Update (150,100)->(166,101)"}));
    EXPECT_EQ(t.move(1040, FingerB, {216, 101}).frame(), Lines{}) << "midpoint truncated to the same pixel";
    EXPECT_EQ(t.move(1050, FingerB, {220, 104}).frame(), (Lines{"Pan#2 Update (150,100)->(168,103)"}));
    EXPECT_EQ(t.up(1060, FingerB, {220, 104}).frame(), (Lines{"Pan#2 End (150,100)->(168,103)"}));
    EXPECT_EQ(t.move(1070, FingerA, {300, 300}).frame(), Lines{}) << "one finger left: nothing is tracked";
}

TEST(Gestures, ThirdFingerCancelsBegunTwoFingerGestures) {
    Timeline t;
    t.down(1000, FingerA, {100, 100}).down(1000, FingerB, {200, 100}).move(1010, FingerB, {260, 100}).frame();
    EXPECT_EQ(t.down(1020, FingerC, {0, 0}).frame(),
              (Lines{"Pan#2 Cancel (150,100)->(180,100)", "Pinch#4 Cancel (180,100) x1.6000"}));
    EXPECT_EQ(t.move(1030, FingerB, {300, 100}).up(1040, FingerC, {0, 0}).frame(), Lines{});
    EXPECT_EQ(t.move(1050, FingerB, {400, 100}).frame(), Lines{}) << "two fingers again, but none went down";
}

TEST(Gestures, RotateBeginsPastItsThreshold) {
    Timeline t;
    t.down(1000, FingerA, {100, 100}).down(1000, FingerB, {200, 100}).frame();
    EXPECT_EQ(t.move(1010, FingerB, {200, 105}).frame(), Lines{}) << "atan(0.05) is below 0.05 rad";
    EXPECT_EQ(t.move(1020, FingerB, {200, 106}).frame(),
              (Lines{"Rotate#3 Begin (150,100) 0.0000", "Rotate#3 Update (150,103) 0.0599"}));
    EXPECT_NEAR(t.gestures.getGestures().back().angle, std::atan2(6.0, 100.0), 1e-6);
    EXPECT_EQ(t.move(1030, FingerB, {200, 94}).frame(), (Lines{"Rotate#3 Update (150,97) -0.0599"}))
        << "counter-clockwise is negative";
    EXPECT_EQ(t.up(1040, FingerA, {100, 100}).frame(), (Lines{"Rotate#3 End (150,97) -0.0599"}));

    Timeline together;
    together.down(1000, FingerA, {100, 100}).down(1000, FingerB, {100, 100}).frame();
    EXPECT_EQ(together.move(1010, FingerB, {100, 300}).frame(),
              (Lines{"Pan#2 Begin (100,100)->(100,100)", "Pan#2 Update (100,100)->(100,200)"}))
        << "fingers that started on one spot have no angle and no scale";
}

TEST(Gestures, PinchBeginsPastItsThreshold) {
    Timeline t;
    t.down(1000, FingerA, {100, 100}).down(1000, FingerB, {200, 100}).frame();
    EXPECT_EQ(t.move(1010, FingerB, {209, 100}).frame(), Lines{});
    EXPECT_EQ(t.move(1020, FingerB, {211, 100}).frame(),
              (Lines{"Pinch#4 Begin (150,100) x1.0000", "Pinch#4 Update (155,100) x1.1100"}));
    EXPECT_EQ(t.move(1030, FingerA, {100, 100}).frame(), Lines{}) << "same scale, no update";
    EXPECT_EQ(t.move(1040, FingerB, {190, 100}).up(1050, FingerA, {100, 100}).frame(),
              (Lines{"Pinch#4 Update (145,100) x0.9000", "Pinch#4 End (145,100) x0.9000"}));
}

TEST(Gestures, HoverForPointersThatAreNotDownAndReset) {
    Timeline t;
    EXPECT_EQ(t.move(1000, MouseId, {3, 4}).frame(), (Lines{"Hover#0 End (3,4)"}));
    t.gestures.setEnabled(Kind::Hover, false);
    EXPECT_EQ(t.move(1010, MouseId, {5, 6}).wheel(1).frame(), (Lines{"Wheel#1 End 1"})) << "no id spent";

    // A reset drops pending output, but the pointer and its press survive it.
    t.down(1020, MouseId, {0, 0}).wheel(5).gestures.reset();
    EXPECT_EQ(t.frame(), Lines{});
    EXPECT_EQ(t.up(1100, MouseId, {0, 0}).frame(), (Lines{"Press#2 Cancel b0 (0,0)", "Tap#5 End b0 (0,0)"}));
}

TEST(Gestures, OnlyTheWheelIgnoresTheEnableFlags) {
    Timeline t;
    for (uint32_t kind = 0; kind < Gesture::KindCount; ++kind) {
        t.gestures.setEnabled(static_cast<Kind>(kind), false);
    }
    t.move(900, MouseId, {0, 0}).click(1000, 1010, {0, 0}).click(1020, 1030, {0, 0});
    t.down(1100, MouseId, {0, 0}).move(1110, MouseId, {100, 0}).up(1120, MouseId, {100, 0});
    t.down(1200, FingerA, {0, 0}).down(1200, FingerB, {100, 0});
    t.move(1210, FingerB, {300, 300}).up(1220, FingerA, {0, 0}).up(1220, FingerB, {300, 300});
    EXPECT_EQ(t.wheel(120).frame(), (Lines{"Wheel#0 End 120"}));
}

TEST(Gestures, UnknownReleasesAndStalePointersAreLogged) {
    Testing::LogCapture capture;
    Timeline t;
    t.down(1000, FingerA, {10, 10}).down(1000, FingerB, {50, 50}).move(5000, FingerB, {60, 60}).frame(1000);
    EXPECT_EQ(t.up(1010, FingerC, {0, 0}).frame(), Lines{});
    EXPECT_EQ(capture.lines(),
              Lines{"[Warning][Gestures] Discarding pointer release event from unknown pointer."});
    EXPECT_EQ(t.gestures.getPointerCount(), 2u);
    capture.clear();

    // Staleness is measured between a pointer's own reports, whatever the clock says now.
    EXPECT_EQ(t.frame(1e9), Lines{}) << "never reported twice: never stale";
    t.move(15000, FingerB, {60, 60});
    EXPECT_EQ(t.frame(), Lines{}) << "exactly 10 s between reports is not stale";
    t.move(20000, FingerA, {10, 10}).move(30001, FingerA, {10, 10});
    // A lost release of one of two fingers ends what they were doing together.
    EXPECT_EQ(t.frame(), (Lines{"Pinch#4 End (35,35) x1.2500"}));
    EXPECT_EQ(capture.lines(), Lines{"[Warning][Gestures] Discarding out-dated pointer id=4097"});
    EXPECT_EQ(t.gestures.getPointerCount(), 1u);
    t.move(40001, FingerB, {61, 61});
    EXPECT_EQ(t.frame(), Lines{}) << "a long gap that ends with a move is a move";
    EXPECT_EQ(t.gestures.getPointerCount(), 1u);
    EXPECT_EQ(capture.count(), 1u);

    // The wall clock only stamps the release: a trace with times of its own plays as recorded.
    Timeline trace;
    trace.down(100000.0, MouseId, {7, 7}).gestures.update();
    EXPECT_EQ(trace.gestures.getGestures().size(), 1u) << "Press Begin only";
    trace.move(100100.0, MouseId, {7, 7}).move(110100.5, MouseId, {7, 7}).gestures.update();
    EXPECT_EQ(trace.gestures.getGestures().size(), 1u);
    EXPECT_EQ(describe(trace.gestures.getGestures()[0]), "Press#0 End b0 (7,7)");
    EXPECT_EQ(trace.gestures.getPointerCount(), 0u);
}
