#include "Demo.h"

#include <Tarn/Geometry/Geodesy.h>
#include <Tarn/Geometry/Polygon.h>
#include <Tarn/Input/Gestures.h>
#include <Tarn/Logging/Log.h>
#include <Tarn/Logging/LogManager.h>
#include <Tarn/Memory/MemoryBuffer.h>
#include <Tarn/Network/Adapter.h>

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <vector>

namespace TarnDemo {

// ---------------------------------------------------------------------------------------------
// Accounting

void* TaggedAllocator::allocate(uint64_t size, uint64_t alignment, Tarn::MemBlockType type) {
    void* block = Allocator::allocate(size, alignment, type);
    add(type, size, block != nullptr);
    return block;
}

void TaggedAllocator::deallocate(void* ptr, uint64_t size, Tarn::MemBlockType type) {
    if (ptr != nullptr) {
        remove(type, size);
    }
    Allocator::deallocate(ptr, size, type);
}

void TaggedAllocator::changeType(void* ptr, uint64_t size, Tarn::MemBlockType oldType,
                                 Tarn::MemBlockType newType) {
    if (ptr != nullptr && oldType != newType) {
        remove(oldType, size);
        add(newType, size, false);
    }
}

void TaggedAllocator::add(Tarn::MemBlockType type, uint64_t size, bool counted) {
    const auto index = static_cast<std::size_t>(type);
    if (index >= counters.size()) {
        return;
    }
    Counters& tag = counters[index];
    if (counted) {
        tag.allocations.fetch_add(1, std::memory_order_relaxed);
    }
    tag.liveBlocks.fetch_add(1, std::memory_order_relaxed);
    const uint64_t live = tag.liveBytes.fetch_add(size, std::memory_order_relaxed) + size;
    uint64_t peak = tag.peakBytes.load(std::memory_order_relaxed);
    while (live > peak && !tag.peakBytes.compare_exchange_weak(peak, live, std::memory_order_relaxed)) {
    }
}

void TaggedAllocator::remove(Tarn::MemBlockType type, uint64_t size) {
    const auto index = static_cast<std::size_t>(type);
    if (index < counters.size()) {
        counters[index].liveBlocks.fetch_sub(1, std::memory_order_relaxed);
        counters[index].liveBytes.fetch_sub(size, std::memory_order_relaxed);
    }
}

TaggedAllocator::Totals TaggedAllocator::totals(Tarn::MemBlockType type) const {
    const auto index = static_cast<std::size_t>(type);
    if (index >= counters.size()) {
        return {};
    }
    const Counters& tag = counters[index];
    return {tag.allocations.load(), tag.liveBytes.load(), tag.peakBytes.load(), tag.liveBlocks.load()};
}

const char* tagName(Tarn::MemBlockType type) {
    static const char* const names[] = {
        "Unknown", "Buffer", "Pool",    "Component", "ComponentData", "Reflection", "String", "Collection",
        "Logging", "File",   "Network", "Message",   "Geometry",      "Platform",   "Input",  "Application"};
    static_assert(std::size(names) == static_cast<std::size_t>(Tarn::MemBlockType::FirstApplicationTag));
    const auto index = static_cast<std::size_t>(type);
    return index < std::size(names) ? names[index] : "(application)";
}

std::string format(const char* text, ...) {
    char line[512];
    va_list arguments;
    va_start(arguments, text);
    std::vsnprintf(line, sizeof(line), text, arguments);
    va_end(arguments);
    return line;
}

// ---------------------------------------------------------------------------------------------
// Logging: the level and colours come from --loglevel and --logcolors, applied by
// Application::initialize to the console consumer.

Result showLogging(const std::string& level, bool colours) {
    using Tarn::Logging::Category;
    static const char* const names[] = {"trace", "debug", "info", "warning", "error", "fatal"};
    const Category minimum = Tarn::Logging::parseCategoryString(level);
    std::printf("   level %s (%s), colours %s (%s)\n", names[static_cast<int>(minimum)],
                level.empty() ? "no --loglevel, so debug" : ("--loglevel=" + level).c_str(),
                colours ? "on" : "off", colours ? "--logcolors=off turns them off" : "--logcolors=off");
    std::printf("   one line per category through the log \"Demo\"; those below the level are not shown:\n");
    std::fflush(stdout);
    const Tarn::Logging::Log log("Demo");
    int shown = 0;
    for (int category = 0; category <= static_cast<int>(Category::Fatal); ++category) {
        const auto value = static_cast<Category>(category);
        if (Tarn::Logging::isCategoryEnabled(value)) {
            ++shown;
        }
        log.log(value, "A line at %s.", names[category]);
    }
    std::fflush(stdout);
    std::fflush(stderr);
    const int expected = static_cast<int>(Category::Fatal) - static_cast<int>(minimum) + 1;
    if (shown != expected) {
        return Result::failed(format("%d categories pass the level %s, expected %d", shown,
                                     names[static_cast<int>(minimum)], expected));
    }
    return Result::passed();
}

// ---------------------------------------------------------------------------------------------
// Network adapters: the table of IPv4 adapters, with the two synthetic entries first, and a
// snapshot of it in a MemoryBuffer read back as the library's binary serialisation.

Result showAdapters(TaggedAllocator& memory) {
    using namespace Tarn::Network;
    UpdateAdapters(AdapterFlags::AddAny | AdapterFlags::AddLocalhost);
    const uint64_t count = GetAdapterCount();
    std::printf("   %-28s %-15s %-15s %s\n", "name", "address", "netmask", "broadcast");
    Tarn::Memory::MemoryBuffer snapshot(&memory, Tarn::MemBlockType::Network);
    snapshot.write64(count);
    for (uint64_t i = 0; i < count; ++i) {
        const NetworkAdapter adapter = GetAdapter(i);
        std::printf("   %-28s %-15s %-15s %s\n", adapter.name.c_str(), adapter.ip.string().c_str(),
                    adapter.netmask.string().c_str(), adapter.broadcast.string().c_str());
        snapshot.writeString(adapter.name);
        snapshot.write32(adapter.ip.networkOrder());
        snapshot.write32(adapter.netmask.networkOrder());
    }
    if (count < 2 || GetAdapter(0).name != "Any" || GetAdapter(1).name != "Localhost") {
        return Result::failed("the table does not start with the entries Any and Localhost");
    }
    if (FindAdapter(AddrIn(127, 0, 0, 1)) != 1) {
        return Result::failed("FindAdapter(127.0.0.1) does not find the Localhost entry");
    }
    snapshot.seek(0);
    bool same = snapshot.read64() == count;
    for (uint64_t i = 0; same && i < count; ++i) {
        const NetworkAdapter adapter = GetAdapter(i);
        same = snapshot.readString() == adapter.name && snapshot.read32() == adapter.ip.networkOrder() &&
               snapshot.read32() == adapter.netmask.networkOrder();
    }
    if (!same || snapshot.unreadSize() != 0) {
        return Result::failed("the adapter snapshot did not read back as written");
    }
    std::printf("   %llu adapter(s); the table serialised into %llu bytes and read back unchanged\n",
                static_cast<unsigned long long>(count), static_cast<unsigned long long>(snapshot.size()));
    return Result::passed();
}

// ---------------------------------------------------------------------------------------------
// Gestures: a scripted pointer trace, stored as bytes in a MemoryBuffer like a recording, replayed
// through the recogniser with the recording's own clock.

namespace {

enum class Step : uint8_t { Down, Move, Up, Wheel, Frame };

struct ScriptEvent {
    Step step;
    Tarn::PointerType type;
    uint64_t pointer;
    int x;
    int y;
    double time; // milliseconds
};

using Tarn::PointerType;
constexpr PointerType mouse = PointerType::Mouse;
constexpr PointerType touch = PointerType::Touch;

// A hover, a tap and a double tap, a long press, a drag, a flick, a wheel notch, then two fingers
// that spread apart and turn.
const ScriptEvent script[] = {
    {Step::Move, mouse, 0, 100, 100, 0},    {Step::Frame, mouse, 0, 0, 0, 16},
    {Step::Down, mouse, 0, 100, 100, 100},  {Step::Up, mouse, 0, 100, 100, 150},
    {Step::Frame, mouse, 0, 0, 0, 160},     {Step::Down, mouse, 0, 100, 100, 250},
    {Step::Up, mouse, 0, 100, 100, 300},    {Step::Frame, mouse, 0, 0, 0, 310},
    {Step::Down, mouse, 0, 200, 200, 1000}, {Step::Frame, mouse, 0, 0, 0, 1016},
    {Step::Up, mouse, 0, 200, 200, 1400},   {Step::Frame, mouse, 0, 0, 0, 1416},
    {Step::Down, mouse, 0, 100, 300, 2000}, {Step::Move, mouse, 0, 150, 300, 2100},
    {Step::Frame, mouse, 0, 0, 0, 2116},    {Step::Move, mouse, 0, 250, 310, 2400},
    {Step::Frame, mouse, 0, 0, 0, 2416},    {Step::Up, mouse, 0, 300, 320, 2800},
    {Step::Frame, mouse, 0, 0, 0, 2816},    {Step::Down, mouse, 0, 100, 400, 3000},
    {Step::Move, mouse, 0, 200, 400, 3050}, {Step::Up, mouse, 0, 300, 400, 3100},
    {Step::Frame, mouse, 0, 0, 0, 3116},    {Step::Wheel, mouse, 0, 120, 0, 3200},
    {Step::Frame, mouse, 0, 0, 0, 3216},    {Step::Down, touch, 1, 400, 400, 4000},
    {Step::Down, touch, 2, 500, 400, 4000}, {Step::Frame, touch, 0, 0, 0, 4016},
    {Step::Move, touch, 2, 600, 400, 4100}, {Step::Frame, touch, 0, 0, 0, 4116},
    {Step::Move, touch, 2, 500, 500, 4300}, {Step::Frame, touch, 0, 0, 0, 4316},
    {Step::Up, touch, 2, 500, 500, 4400},   {Step::Up, touch, 1, 400, 400, 4400},
    {Step::Frame, touch, 0, 0, 0, 4416},
};

const char* kindName(Tarn::Gesture::Kind kind) {
    static const char* const names[] = {"Hover", "Wheel", "Tap", "DoubleTap", "Press",
                                        "Drag",  "Flick", "Pan", "Rotate",    "Pinch"};
    return names[static_cast<uint32_t>(kind)];
}

std::string describe(const Tarn::Gesture& gesture) {
    using Kind = Tarn::Gesture::Kind;
    static const char* const states[] = {"Begin", "Update", "End", "Cancel"};
    static const char* const directions[] = {"left", "right", "up", "down"};
    std::string text =
        format("%-9s %-6s at (%d, %d)", kindName(gesture.kind), states[static_cast<int>(gesture.state)],
               gesture.position.x, gesture.position.y);
    switch (gesture.kind) {
    case Kind::Wheel:
        text += format(" delta %d", gesture.delta);
        break;
    case Kind::Drag:
    case Kind::Pan:
        text += format(" now at (%d, %d)", gesture.current.x, gesture.current.y);
        break;
    case Kind::Flick:
        text += format(" %s at %.0f px/s", directions[static_cast<int>(gesture.direction)], gesture.speed);
        break;
    case Kind::Rotate:
        text += format(" by %.1f degrees", gesture.angle * 57.29577951308232);
        break;
    case Kind::Pinch:
        text += format(" scale %.2f", gesture.scale);
        break;
    default:
        break;
    }
    return text;
}

} // namespace

Result showGestures(TaggedAllocator& memory) {
    Tarn::Memory::MemoryBuffer recording(&memory, Tarn::MemBlockType::Input);
    for (const ScriptEvent& event : script) {
        recording.write8(static_cast<uint8_t>(event.step));
        recording.write8(static_cast<uint8_t>(event.type));
        recording.write64(event.pointer);
        recording.write32(static_cast<uint32_t>(event.x));
        recording.write32(static_cast<uint32_t>(event.y));
        recording.writeDouble(event.time);
    }
    std::printf("   replaying %zu events (%llu bytes) through Gestures:\n", std::size(script),
                static_cast<unsigned long long>(recording.size()));

    Tarn::Gestures gestures;
    bool seen[Tarn::Gesture::KindCount] = {};
    recording.seek(0);
    while (recording.unreadSize() != 0) {
        const auto step = static_cast<Step>(recording.read8());
        const auto type = static_cast<PointerType>(recording.read8());
        const uint64_t pointer = recording.read64();
        // One read per statement: the order in which function arguments are evaluated is unspecified.
        const auto x = static_cast<int32_t>(recording.read32());
        const auto y = static_cast<int32_t>(recording.read32());
        const glm::ivec2 position(x, y);
        const double time = recording.readDouble();
        switch (step) {
        case Step::Down:
            gestures.pointerDown(type, pointer, Tarn::MouseButton::Left, position, time);
            break;
        case Step::Move:
            gestures.pointerMove(type, pointer, position, time);
            break;
        case Step::Up:
            gestures.pointerUp(type, pointer, Tarn::MouseButton::Left, position, time);
            break;
        case Step::Wheel:
            gestures.mouseWheelMove(position.x);
            break;
        case Step::Frame:
            gestures.update(time);
            for (const Tarn::Gesture& gesture : gestures.getGestures()) {
                seen[static_cast<uint32_t>(gesture.kind)] = true;
                std::printf("   %6.0f ms  %s\n", time, describe(gesture).c_str());
            }
            break;
        }
    }
    std::string missing;
    for (uint32_t kind = 0; kind < Tarn::Gesture::KindCount; ++kind) {
        if (!seen[kind]) {
            missing +=
                std::string(missing.empty() ? "" : ", ") + kindName(static_cast<Tarn::Gesture::Kind>(kind));
        }
    }
    if (!missing.empty()) {
        return Result::failed("the trace was not recognised as expected; no " + missing);
    }
    if (gestures.getPointerCount() != 0) {
        return Result::failed("pointers are still down after the trace");
    }
    std::printf("   all ten kinds of gesture recognised\n");
    return Result::passed();
}

// ---------------------------------------------------------------------------------------------
// Geodesy: landmarks to UTM (with the Norway and Svalbard zone exceptions) and Paris sights to
// east-north-up metres around the Eiffel Tower, each checked against a great-circle distance.

namespace {

struct Landmark {
    const char* name;
    double latitude;
    double longitude;
    double altitude;
};

// Great-circle distance on a sphere of the Earth's mean radius.
double haversineMetres(double latitude1, double longitude1, double latitude2, double longitude2) {
    constexpr double radians = 3.14159265358979323846 / 180.0;
    const double dLatitude = (latitude2 - latitude1) * radians;
    const double dLongitude = (longitude2 - longitude1) * radians;
    const double a = std::sin(dLatitude / 2) * std::sin(dLatitude / 2) +
                     std::cos(latitude1 * radians) * std::cos(latitude2 * radians) *
                         std::sin(dLongitude / 2) * std::sin(dLongitude / 2);
    return 2.0 * 6371008.8 * std::asin(std::sqrt(a));
}

} // namespace

Result showGeodesy() {
    struct UtmCase {
        Landmark place;
        int zone;
        bool north;
    };
    const UtmCase landmarks[] = {
        {{"Eiffel Tower", 48.858370, 2.294481, 35}, 31, true},
        {{"Statue of Liberty", 40.689247, -74.044502, 0}, 18, true},
        {{"Sydney Opera House", -33.856784, 151.215297, 0}, 56, false},
        {{"Mount Everest", 27.988056, 86.925278, 8849}, 45, true},
        {{"Bergen (Norway rule)", 60.391263, 5.322054, 0}, 32, true},
        {{"Longyearbyen (Svalbard rule)", 78.223172, 15.626723, 0}, 33, true},
    };
    std::printf("   %-30s %-11s %5s %12s %12s\n", "landmark", "lat, lon", "zone", "easting", "northing");
    for (const UtmCase& entry : landmarks) {
        const Landmark& place = entry.place;
        int zone = 0;
        bool north = false;
        LLtoUTMZone(zone, north, place.latitude, place.longitude);
        double easting = 0.0;
        double northing = 0.0;
        LLtoUTM(easting, northing, place.latitude, place.longitude);
        std::printf("   %-30s %5.1f,%6.1f %3d%c %12.1f %12.1f\n", place.name, place.latitude, place.longitude,
                    zone, north ? 'N' : 'S', easting, northing);
        if (zone != entry.zone || north != entry.north) {
            return Result::failed(format("%s is in UTM zone %d%c, expected %d%c", place.name, zone,
                                         north ? 'N' : 'S', entry.zone, entry.north ? 'N' : 'S'));
        }
        if (!(easting > 160000.0 && easting < 840000.0) || !(northing > 0.0 && northing < 10000000.0)) {
            return Result::failed(format("%s has no plausible UTM position", place.name));
        }
    }

    const Landmark origin = landmarks[0].place;
    const Landmark sights[] = {
        {"Arc de Triomphe", 48.873792, 2.295028, 50},
        {"Louvre Pyramid", 48.861033, 2.335769, 35},
        {"Notre-Dame", 48.852968, 2.349902, 35},
        {"Sacre-Coeur", 48.886705, 2.343104, 130},
    };
    const Tarn::LLToENUConverter enu(origin.latitude, origin.longitude, origin.altitude);
    std::printf("   around the %s, in metres:\n   %-30s %9s %9s %7s %9s\n", origin.name, "sight", "east",
                "north", "up", "distance");
    for (const Landmark& sight : sights) {
        const glm::dvec3 position = enu.convert(sight.latitude, sight.longitude, sight.altitude);
        const double distance = std::hypot(position.x, position.y);
        std::printf("   %-30s %9.1f %9.1f %7.1f %9.1f\n", sight.name, position.x, position.y, position.z,
                    distance);
        const double expected =
            haversineMetres(origin.latitude, origin.longitude, sight.latitude, sight.longitude);
        // The sphere differs from the ellipsoid by well under 1 %, and every sight is north-east.
        if (std::abs(distance - expected) > 0.01 * expected || position.x <= 0.0 || position.y <= -1000.0) {
            return Result::failed(
                format("%s is %.1f m away in the local frame, but %.1f m along the great circle", sight.name,
                       distance, expected));
        }
    }
    return Result::passed();
}

// ---------------------------------------------------------------------------------------------
// Polygons: a 10 x 10 square minus a square over its top-right corner leaves an L of area 75.

Result showPolygons() {
    using Tarn::Geometry::Polygon;
    const Polygon plot({{0, 0, 0}, {0, 10, 0}, {10, 10, 0}, {10, 0, 0}});
    const Polygon building({{5, 5, 0}, {5, 15, 0}, {15, 15, 0}, {15, 5, 0}});
    const std::vector<Polygon> pieces = plot.subtract(building);
    std::printf("   square (0,0)-(10,10), area %.1f, minus square (5,5)-(15,15), area %.1f:\n",
                plot.calcArea(), building.calcArea());
    float area = 0.0f;
    for (const Polygon& piece : pieces) {
        std::string corners;
        for (const glm::vec3& point : piece.getPoints()) {
            corners += format(" (%g, %g)", point.x, point.y);
        }
        std::printf("   piece of area %.1f:%s\n", piece.calcArea(), corners.c_str());
        area += piece.calcArea();
    }
    if (pieces.empty() || std::abs(area - 75.0f) > 0.01f) {
        return Result::failed(format("the pieces cover %.2f, expected 75", area));
    }
    const auto inside = [&pieces](glm::vec3 point) {
        for (const Polygon& piece : pieces) {
            if (piece.isPointInside(point)) {
                return true;
            }
        }
        return false;
    };
    if (!inside({2, 2, 0}) || !inside({8, 2, 0}) || inside({7, 7, 0})) {
        return Result::failed("the pieces do not cover the L that is left");
    }
    return Result::passed();
}

// ---------------------------------------------------------------------------------------------
// Memory: what the demo's containers took, per tag, and what the library's own containers hold.

Result showMemory(const TaggedAllocator& memory) {
    std::printf("   the demo's containers, by memory tag:\n   %-12s %11s %11s %11s\n", "tag", "allocations",
                "peak bytes", "live bytes");
    std::string leaked;
    for (std::size_t index = 0; index < Tarn::MemBlockTypeCount; ++index) {
        const auto type = static_cast<Tarn::MemBlockType>(index);
        const TaggedAllocator::Totals totals = memory.totals(type);
        if (totals.allocations == 0 && totals.peakBytes == 0) {
            continue;
        }
        std::printf("   %-12s %11llu %11llu %11llu\n", tagName(type),
                    static_cast<unsigned long long>(totals.allocations),
                    static_cast<unsigned long long>(totals.peakBytes),
                    static_cast<unsigned long long>(totals.liveBytes));
        if (totals.liveBytes != 0 || totals.liveBlocks != 0) {
            leaked +=
                format(" %s (%llu bytes)", tagName(type), static_cast<unsigned long long>(totals.liveBytes));
        }
    }
    const Tarn::Memory::Allocator* library = Tarn::Memory::Allocator::defaultAllocator();
    std::printf(
        "   the library's default allocator (one total for all tags): %llu bytes in %llu blocks live\n",
        static_cast<unsigned long long>(library->getAllocatedBytes()),
        static_cast<unsigned long long>(library->getAllocationCount()));
    if (!leaked.empty()) {
        return Result::failed("memory still live after its containers were gone:" + leaked);
    }
    if (memory.getAllocationCount() != 0 || memory.getAllocatedBytes() != 0) {
        return Result::failed("the demo allocator's overall totals are not back to 0");
    }
    return Result::passed();
}

} // namespace TarnDemo
