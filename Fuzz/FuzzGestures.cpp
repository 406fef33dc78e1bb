// Pointer event streams as a touch screen, a pen or a mouse delivers them, including repeated
// presses, releases of unknown ids, extreme coordinates and times that jump or run backwards. Every
// gesture must follow its lifecycle (Begin, Updates, then End or Cancel; or one End for kinds
// recognised in one step), keep its kind, never reappear after it finished, and carry finite
// numbers while the times are finite. The pointer count never exceeds the ids pressed and not
// released. UBSan watches the arithmetic on coordinates near the 32-bit limits.

#include "FuzzCheck.h"

#include <Tarn/Input/Gestures.h>
#include <Tarn/Logging/LogManager.h>

#include <fuzzer/FuzzedDataProvider.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <set>

using Tarn::Gesture;
using Tarn::Gestures;
using Tarn::MouseButton;
using Tarn::PointerType;

namespace {

struct Seen {
    Gesture::Kind kind;
    bool finished;
};

int32_t coordinate(FuzzedDataProvider& input) {
    return input.ConsumeBool() ? input.ConsumeIntegral<int32_t>()
                               : input.ConsumeIntegralInRange<int32_t>(-50, 2000);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    // Releases of unknown ids are logged.
    Tarn::Fuzz::failOnAssertionQuietly();

    FuzzedDataProvider input(data, size);
    Gestures gestures;
    std::map<uint32_t, Seen> seen;
    std::set<uint64_t> down;
    bool dropped = false; // reset() drops emitted steps, so a later step may have lost its Begin
    bool finiteTimes = true;
    double now = 1000.0;

    for (int step = 0; step < 256 && input.remaining_bytes() != 0; ++step) {
        const auto type = static_cast<PointerType>(input.ConsumeIntegralInRange<uint32_t>(0, 2));
        const uint64_t id = input.ConsumeIntegralInRange<uint64_t>(0, 3);
        const auto button = static_cast<MouseButton>(input.ConsumeIntegralInRange<uint32_t>(0, 4));
        const uint8_t op = input.ConsumeIntegralInRange<uint8_t>(0, 9);
        // Mostly time moving forward by up to a second; sometimes any value at all.
        if (input.ConsumeIntegralInRange<int>(0, 15) == 0) {
            now = input.ConsumeFloatingPoint<double>();
            if (input.ConsumeIntegralInRange<int>(0, 7) == 0) {
                now = std::numeric_limits<double>::quiet_NaN();
            }
        } else {
            now += input.ConsumeIntegralInRange<int>(0, 1000);
        }
        finiteTimes = finiteTimes && std::isfinite(now) && std::abs(now) < 1e12;
        switch (op) {
        case 0:
        case 1: {
            const glm::ivec2 at(coordinate(input), coordinate(input));
            gestures.pointerDown(type, id, button, at, now);
            down.insert(id);
            break;
        }
        case 2:
        case 3:
        case 4: {
            const glm::ivec2 at(coordinate(input), coordinate(input));
            gestures.pointerMove(type, id, at, now);
            break;
        }
        case 5:
        case 6: {
            const glm::ivec2 at(coordinate(input), coordinate(input));
            gestures.pointerUp(type, id, button, at, now);
            down.erase(id);
            break;
        }
        case 7:
            gestures.mouseWheelMove(input.ConsumeIntegral<int>());
            break;
        case 8:
            if (input.ConsumeBool()) {
                gestures.reset();
                dropped = true;
            } else {
                const auto kind = static_cast<Gesture::Kind>(input.ConsumeIntegralInRange<uint32_t>(0, 9));
                gestures.setEnabled(kind, input.ConsumeBool());
            }
            break;
        case 9: {
            gestures.update(now);
            for (const Gesture& g : gestures.getGestures()) {
                const auto it = seen.find(g.id);
                if (it == seen.end()) {
                    TARN_FUZZ_CHECK(dropped || g.state == Gesture::State::Begin ||
                                    g.state == Gesture::State::End);
                    seen[g.id] =
                        Seen{g.kind, g.state == Gesture::State::End || g.state == Gesture::State::Cancel};
                } else {
                    TARN_FUZZ_CHECK(!it->second.finished);
                    TARN_FUZZ_CHECK(it->second.kind == g.kind);
                    TARN_FUZZ_CHECK(g.state != Gesture::State::Begin);
                    it->second.finished = g.state == Gesture::State::End || g.state == Gesture::State::Cancel;
                }
                if (finiteTimes) {
                    TARN_FUZZ_CHECK(std::isfinite(g.speed) && std::isfinite(g.angle) && !std::isnan(g.scale));
                }
            }
            // Stale pointers are released by update, so the count can only be lower.
            TARN_FUZZ_CHECK(gestures.getPointerCount() <= down.size());
            break;
        }
        }
    }
    return 0;
}
