#include "AssertRecorder.h"
#include "CountingAllocator.h"

#include <Tarn/ComponentModel/Component.h>
#include <Tarn/ComponentModel/ComponentDataPool.h>
#include <Tarn/ComponentModel/ComponentPool.h>
#include <Tarn/Reflection/Registration.h>
#include <Tarn/Reflection/TypeDatabase.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

using namespace Tarn::ComponentModel;
using namespace Tarn::Reflection;
using Tarn::MemBlockType;
using Tarn::Testing::AssertRecorder;
using Tarn::Testing::CountingAllocator;

namespace {

struct Particle : Component {
    static inline int live = 0;
    Particle() { ++live; }
    ~Particle() { --live; }
    uint64_t payload[5] = {};
};
static_assert(sizeof(Particle) == 64);

// The roster is a permutation of the slots and every live slot knows its roster position. Plain
// loops over a byte array rather than a gtest check per slot or a vector<bool>: this runs after
// every step of long random sequences, in unoptimised sanitizer builds.
::testing::AssertionResult rosterIsConsistent(const ComponentPoolBase& pool) {
    const uint32_t capacity = pool.capacity();
    std::vector<uint8_t> marks(capacity, 0);
    uint8_t* seen = marks.data();
    for (uint32_t position = 0; position < capacity; ++position) {
        const uint32_t slot = pool.getSlotAt(position);
        if (slot >= capacity || seen[slot])
            return ::testing::AssertionFailure() << "slot " << slot << " at roster position " << position;
        seen[slot] = 1;
        if (position < pool.size() && pool.getComponentAt(position)->getRosterIndex() != position)
            return ::testing::AssertionFailure() << "slot " << slot << " does not know position " << position;
    }
    return ::testing::AssertionSuccess();
}

} // namespace

TARN_REFLECTION_TYPE_NAME(Particle, "Particle")

namespace {

class ComponentPoolTest : public ::testing::Test {
protected:
    void SetUp() override {
        TypeDatabase::clear();
        TypeDatabase::initializeBaseTypes();
        Component::registerType();
        registerType<Particle>("Particle").setBase(&TypeDatabase::getType("Component"));
        particle = typeIdOf<Particle>();
    }
    void TearDown() override { TypeDatabase::clear(); }

    TypeId particle = InvalidTypeId;
};

TEST_F(ComponentPoolTest, FullPoolsAssertUnlessTheyGrowByOnePointFiveFive) {
    AssertRecorder recorder;
    const std::vector<std::string> overCapacity{"next < roster.size() && \"Component pool over capacity.\""};
    ComponentPoolBase fixed(particle, 4);
    for (int i = 0; i < 4; ++i)
        EXPECT_NE(fixed.allocateComponent().resolve(), nullptr);
    EXPECT_TRUE(recorder.empty());
    EXPECT_TRUE(fixed.allocateComponent().empty());
    EXPECT_EQ(recorder.texts(), overCapacity);
    EXPECT_EQ(fixed.size(), 4u);
    EXPECT_EQ(fixed.capacity(), 4u);
    EXPECT_EQ(Particle::live, 4);

    struct Case {
        uint32_t from, to;
    };
    for (const Case c : {Case{10, 16}, Case{1, 2}, Case{2, 3}, Case{3, 5}, Case{100, 155}}) {
        SCOPED_TRACE(c.from);
        ComponentPoolBase pool(particle, c.from);
        pool.setFlags(ComponentPoolBase::AutomaticGrowth);
        std::vector<ComponentHandle> handles;
        for (uint32_t i = 0; i <= c.from; ++i)
            handles.push_back(pool.allocateComponent());
        EXPECT_EQ(pool.capacity(), c.to);
        EXPECT_TRUE(rosterIsConsistent(pool));
        EXPECT_EQ(std::count_if(handles.begin(), handles.end(), [](auto& h) { return !h.resolve(); }), 0)
            << "growth keeps every component";
    }

    // Growth is both the roster and the storage or neither: with the storage refused, the pool
    // stays full (no slot past its storage is handed out) and grows once storage is there.
    CountingAllocator allocator;
    ComponentPoolBase refused(particle, 2, &allocator, MemBlockType(7));
    refused.setFlags(ComponentPoolBase::AutomaticGrowth);
    refused.allocateComponent();
    refused.allocateComponent();
    allocator.setRefusedType(7);
    recorder.clear();
    EXPECT_TRUE(refused.allocateComponent().empty());
    EXPECT_EQ(recorder.texts(), overCapacity);
    EXPECT_EQ(refused.capacity(), 2u);
    allocator.setRefusedType(-1);
    EXPECT_NE(refused.allocateComponent().resolve(), nullptr);
    EXPECT_EQ(refused.capacity(), 3u);
    EXPECT_TRUE(rosterIsConsistent(refused));

    // Nothing to multiply: an empty pool stays empty.
    recorder.clear();
    ComponentPoolBase empty(particle, 0);
    empty.setFlags(ComponentPoolBase::AutomaticGrowth);
    EXPECT_TRUE(empty.allocateComponent().empty());
    EXPECT_EQ(recorder.texts(), overCapacity);
    EXPECT_EQ(empty.capacity(), 0u);
}

TEST_F(ComponentPoolTest, ReleaseFillsTheGapAndLeavesHandlesStale) {
    AssertRecorder recorder;
    EXPECT_EQ(ComponentHandle{}.resolve(), nullptr);
    ComponentPoolBase pool(particle, 3);
    const ComponentHandle a = pool.allocateComponent();
    const ComponentHandle b = pool.allocateComponent();
    const ComponentHandle c = pool.allocateComponent();
    EXPECT_EQ(a.index, 0u);
    EXPECT_EQ(c.index, 2u);
    EXPECT_EQ(c.resolve()->getFlags() & Component::PoolAllocatedFlag, 1u);
    EXPECT_EQ(c.resolve()->getTypeId(), particle);

    pool.deallocateComponent(a);
    EXPECT_EQ(a.resolve(), nullptr);
    EXPECT_EQ(pool.size(), 2u);
    EXPECT_EQ(pool.getSlotAt(0), 2u) << "the last live component moves into the gap";
    EXPECT_EQ(c.resolve()->rosterIndex, 0u);
    EXPECT_EQ(b.resolve()->getRosterIndex(), 1u);
    EXPECT_EQ(pool.getSlotAt(2), 0u) << "the released slot is the first free one";
    EXPECT_EQ(Particle::live, 2);

    const ComponentHandle d = pool.allocateComponent();
    EXPECT_EQ(d.index, 0u) << "the released slot is reused";
    EXPECT_EQ(a.resolve(), nullptr) << "the old handle does not see the new occupant";
    EXPECT_EQ(d.resolve()->getRosterIndex(), 2u);
    EXPECT_TRUE(recorder.empty());

    // Releasing again, or through another pool, must not release whatever lives there now.
    ComponentPoolBase other(particle, 2);
    pool.deallocateComponent(a);
    other.deallocateComponent(b);
    EXPECT_EQ(recorder.texts(),
              std::vector<std::string>(2, "rosterIndex < next && \"Roster index out of bounds\""));
    EXPECT_EQ(pool.size(), 3u);
    EXPECT_NE(d.resolve(), nullptr);
    EXPECT_NE(b.resolve(), nullptr);
    EXPECT_TRUE(rosterIsConsistent(pool));
}

TEST_F(ComponentPoolTest, GenerationsWrapAfter65536Allocations) {
    ComponentPoolBase pool(particle, 1);
    const ComponentHandle first = pool.allocateComponent();
    pool.deallocateComponent(first);
    uint32_t elsewhere = 0, resolvedEarly = 0;
    for (uint32_t i = 1; i < 65536; ++i) {
        const ComponentHandle h = pool.allocateComponent();
        elsewhere += h.index != first.index;
        resolvedEarly += first.resolve() != nullptr;
        pool.deallocateComponent(h);
    }
    EXPECT_EQ(elsewhere, 0u);
    EXPECT_EQ(resolvedEarly, 0u);
    const ComponentHandle wrapped = pool.allocateComponent();
    EXPECT_EQ(wrapped.generation, first.generation);
    EXPECT_NE(first.resolve(), nullptr) << "16-bit generations repeat after 65,536 allocations";
    EXPECT_EQ(first.resolve(), wrapped.resolve());
}

TEST_F(ComponentPoolTest, RosterInvariantHoldsThroughRandomTraffic) {
    for (const bool growing : {false, true}) {
        SCOPED_TRACE(growing ? "growing" : "fixed");
        AssertRecorder recorder;
        ComponentPoolBase pool(particle, growing ? 1 : 64);
        if (growing)
            pool.setFlags(ComponentPoolBase::AutomaticGrowth);
        std::mt19937 random(growing ? 1234 : 4321);
        std::vector<ComponentHandle> live, dead;
        for (int step = 0; step < 10000; ++step) {
            const bool allocate = live.empty() || (random() % 100) < (growing ? 60u : 50u);
            if (allocate && (growing || pool.size() < pool.capacity())) {
                live.push_back(pool.allocateComponent());
                ASSERT_FALSE(live.back().empty());
            } else if (!live.empty()) {
                const size_t pick = random() % live.size();
                pool.deallocateComponent(live[pick]);
                dead.push_back(live[pick]);
                live[pick] = live.back();
                live.pop_back();
            }
            ASSERT_EQ(pool.size(), live.size()) << "step " << step;
            ASSERT_TRUE(rosterIsConsistent(pool)) << "step " << step;
        }
        EXPECT_TRUE(recorder.empty());
        auto resolving = [](const std::vector<ComponentHandle>& handles) {
            return std::count_if(handles.begin(), handles.end(),
                                 [](auto& h) { return h.resolve() != nullptr; });
        };
        EXPECT_EQ(resolving(live), static_cast<long>(live.size()));
        EXPECT_EQ(resolving(dead), 0);
        EXPECT_EQ(Particle::live, static_cast<int>(live.size()));
    }
}

TEST_F(ComponentPoolTest, MemoryIsStoragePlusFourBytesPerSlot) {
    CountingAllocator allocator;
    {
        ComponentPoolBase pool(particle, 1000, &allocator, MemBlockType::Component);
        for (int i = 0; i < 500; ++i)
            pool.allocateComponent();
        EXPECT_EQ(allocator.getAllocationCount(), 2u) << "no allocation per component";
        EXPECT_EQ(allocator.bytes(MemBlockType::Component), 1000u * 64);
        EXPECT_EQ(allocator.bytes(MemBlockType::Buffer), 1000u * 4);
    }
    EXPECT_EQ(allocator.getAllocatedBytes(), 0u);
    EXPECT_EQ(Particle::live, 0) << "the pool destroys what is still live";
}

TEST_F(ComponentPoolTest, TypedPoolIteratesLiveComponents) {
    ComponentPool<Particle> pool(2);
    std::vector<ComponentHandle> handles;
    for (uint64_t i = 0; i < 10; ++i) {
        handles.push_back(pool.allocate());
        pool.get(handles.back())->payload[0] = i;
    }
    EXPECT_EQ(pool.capacity(), 12u) << "2 -> 3 -> 5 -> 8 -> 12";
    pool.release(handles[0]);
    pool.release(handles[7]);
    EXPECT_EQ(pool.get(handles[7]), nullptr);
    std::vector<uint64_t> seen;
    for (const Particle& p : pool)
        seen.push_back(p.payload[0]);
    std::sort(seen.begin(), seen.end());
    EXPECT_EQ(seen, (std::vector<uint64_t>{1, 2, 3, 4, 5, 6, 8, 9}));
    EXPECT_EQ(&pool[0], pool.get(pool.getHandleAt(0)));

    ComponentPoolBase other(particle, 1);
    EXPECT_EQ(pool.get(other.allocateComponent()), nullptr);
}

TEST(ComponentDataPoolTest, GrowsOneStepPerCall) {
    AssertRecorder recorder;
    ComponentDataPoolBase data(10, 12);
    ComponentHandle handle;
    handle.index = 9;
    data.allocate(handle);
    EXPECT_EQ(data.getCapacity(), 10u);
    static_cast<unsigned char*>(data.get(9))[11] = 0x77;

    handle.index = 10;
    data.allocate(handle);
    EXPECT_EQ(data.getCapacity(), 16u);
    EXPECT_TRUE(recorder.empty());
    EXPECT_EQ(static_cast<unsigned char*>(data.get(9))[11], 0x77) << "growth keeps contents";
    EXPECT_EQ(static_cast<unsigned char*>(data.get(15))[0], 0) << "new slots start zeroed";

    handle.index = 100;
    data.allocate(handle);
    EXPECT_EQ(data.getCapacity(), 25u);
    EXPECT_EQ(recorder.texts(), std::vector<std::string>{"index < capacity"});
    EXPECT_EQ(data.get(100), nullptr);
    data.deallocate(handle);
    EXPECT_EQ(data.getCapacity(), 25u);
}

} // namespace
