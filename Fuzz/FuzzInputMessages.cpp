// Input messages as any hub may send them to the translator: the eight input ids with payloads
// that are well formed, cut short, overlong or random, and ids that are not input at all. The
// translator must take any of them: no crash, no read beyond a payload, and exactly the messages
// with a complete payload reach the devices, the keyboard and mouse queues growing by one event
// per such message (a reset reaches both), in order, with the values written.

#include "FuzzCheck.h"

#include <Tarn/Application/PlatformContext.h>
#include <Tarn/Application/Window.h>
#include <Tarn/Input/InputEventTranslator.h>
#include <Tarn/Logging/LogManager.h>
#include <Tarn/Network/Message.h>

#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace Msg = Tarn::InputMessage;

namespace {

constexpr uint32_t ids[] = {
    Msg::InputReset,     Msg::InputKeyDown,     Msg::InputKeyUp, Msg::InputChar, Msg::InputPointerDown,
    Msg::InputPointerUp, Msg::InputPointerMove, Msg::InputWheel, 0x7FF00000,     0x7FF00300};

// Bytes of the fixed fields; the string of a character message counts its length field.
uint64_t fixedSize(uint32_t id) {
    switch (id) {
    case Msg::InputReset:
        return 8;
    case Msg::InputKeyDown:
    case Msg::InputKeyUp:
    case Msg::InputChar:
    case Msg::InputWheel:
        return 12;
    case Msg::InputPointerDown:
    case Msg::InputPointerUp:
    case Msg::InputPointerMove:
        return 24;
    default:
        return 0;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    // Short payloads are logged.
    Tarn::Fuzz::failOnAssertionQuietly();

    FuzzedDataProvider input(data, size);
    Tarn::PlatformContext context;
    Tarn::Window window(&context);
    Tarn::InputEventTranslator translator;
    translator.initialize(window, &context.refKeyboard(), &context.refMouse(), &context.refGestures());

    uint64_t keyboardEvents = 0;
    uint64_t mouseEvents = 0;
    for (int step = 0; step < 64 && input.remaining_bytes() != 0; ++step) {
        const uint32_t id = ids[input.ConsumeIntegralInRange<std::size_t>(0, std::size(ids) - 1)];
        Tarn::Network::MessagePtr message = Tarn::Network::Message::allocate(id);
        if (input.ConsumeBool()) {
            // Well formed, perhaps with trailing bytes.
            switch (id) {
            case Msg::InputChar:
                message->writeString(input.ConsumeRandomLengthString(16));
                break;
            case Msg::InputPointerDown:
            case Msg::InputPointerUp:
            case Msg::InputPointerMove:
                message->write64(input.ConsumeIntegral<uint64_t>());
                break;
            default:
                break;
            }
            while (message->size() < fixedSize(id)) {
                message->write32(input.ConsumeIntegral<uint32_t>());
            }
        }
        const std::string extra = input.ConsumeRandomLengthString(32);
        message->write(extra.data(), extra.size());

        const uint64_t payload = message->size();
        const bool complete = fixedSize(id) != 0 && payload >= fixedSize(id);
        if (complete) {
            const bool keyboardMessage = id == Msg::InputReset || id == Msg::InputKeyDown ||
                                         id == Msg::InputKeyUp || id == Msg::InputChar;
            keyboardEvents += keyboardMessage ? 1 : 0;
            mouseEvents += (!keyboardMessage || id == Msg::InputReset) ? 1 : 0;
        }
        window.sendMessage(message);
        TARN_FUZZ_CHECK(message->size() == payload);
        TARN_FUZZ_CHECK(translator.getNoOfQueuedMessages() == 0);
    }

    context.refKeyboard().update();
    context.refMouse().update();
    context.refGestures().update(0.0);
    TARN_FUZZ_CHECK(context.refKeyboard().getEvents().size() == keyboardEvents);
    TARN_FUZZ_CHECK(context.refMouse().getEvents().size() == mouseEvents);
    return 0;
}
