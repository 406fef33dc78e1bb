#include "AssertRecorder.h"

#include <Tarn/ComponentModel/Component.h>
#include <Tarn/ComponentModel/ComponentDataPool.h>
#include <Tarn/ComponentModel/ComponentPool.h>
#include <Tarn/Memory/Allocator.h>
#include <Tarn/Reflection/Registration.h>
#include <Tarn/Reflection/TypeDatabase.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <random>
#include <vector>

using namespace Tarn::ComponentModel;
using namespace Tarn::Reflection;
using Tarn::MemBlockType;
using Tarn::Testing::AssertRecorder;

namespace {

struct Particle : Component {
    static inline int live = 0;
    Particle() { ++live; }
    ~Particle() { --live; }
    uint64_t payload[5] = {};
};
static_assert(sizeof(Particle) == 64);

// Remembers every live block's size and tag.
class TaggingAllocator : public Tarn::Memory::Allocator {
public:
    void* allocate(uint64_t size, uint64_t alignment, MemBlockType type) override {
        void* block = Allocator::allocate(size, alignment, type);
        blocks[block] = {size, type};
        return block;
    }
    void deallocate(void* ptr, uint64_t size, MemBlockType type) override {
        blocks.erase(ptr);
        Allocator::deallocate(ptr, size, type);
    }
    std::map<void*, std::pair<uint64_t, MemBlockType>> blocks;
};

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

    // The roster is a permutation of the slots and every live slot knows its roster position.
    static void expectRosterInvariant(const ComponentPoolBase& pool) {
        std::vector<bool> seen(pool.capacity(), false);
        for (uint32_t position = 0; position < pool.capacity(); ++position) {
            const uint32_t slot = pool.getSlotAt(position);
            ASSERT_LT(slot, pool.capacity());
            ASSERT_FALSE(seen[slot]) << "slot " << slot << " appears twice";
            seen[slot] = true;
            if (position < pool.size()) {
                ASSERT_EQ(pool.getComponentAt(position)->getRosterIndex(), position);
            }
        }
    }

    TypeId particle = InvalidTypeId;
};

TEST_F(ComponentPoolTest, FixedPoolAssertsWhenFull) {
    AssertRecorder recorder;
    ComponentPoolBase pool(particle, 4);
    EXPECT_EQ(pool.getElementSize(), 64u);
    for (int i = 0; i < 4; ++i)
        EXPECT_NE(pool.allocateComponent().resolve(), nullptr);
    EXPECT_TRUE(recorder.empty());
    const ComponentHandle fifth = pool.allocateComponent();
    EXPECT_EQ(recorder.texts(),
              std::vector<std::string>{"next < roster.size() && \"Component pool over capacity.\""});
    EXPECT_TRUE(fifth.empty());
    EXPECT_EQ(pool.size(), 4u);
    EXPECT_EQ(pool.capacity(), 4u);
    EXPECT_EQ(Particle::live, 4);
}

TEST_F(ComponentPoolTest, AutomaticGrowthByOnePointFiveFive) {
    struct Case {
        uint32_t from, to;
    };
    for (const Case c : {Case{10, 16}, Case{1, 2}, Case{2, 3}, Case{3, 5}, Case{100, 155}}) {
        ComponentPoolBase pool(particle, c.from);
        pool.setFlags(ComponentPoolBase::AutomaticGrowth);
        std::vector<ComponentHandle> handles;
        for (uint32_t i = 0; i <= c.from; ++i)
            handles.push_back(pool.allocateComponent());
        EXPECT_EQ(pool.capacity(), c.to) << "from " << c.from;
        expectRosterInvariant(pool);
        for (const ComponentHandle& h : handles)
            ASSERT_NE(h.resolve(), nullptr) << "growth keeps every component";
    }

    AssertRecorder recorder;
    ComponentPoolBase empty(particle, 0);
    empty.setFlags(ComponentPoolBase::AutomaticGrowth);
    EXPECT_TRUE(empty.allocateComponent().empty());
    EXPECT_TRUE(recorder.saw("next < roster.size() && \"Component pool over capacity.\""));
    EXPECT_EQ(empty.capacity(), 0u);
}

TEST_F(ComponentPoolTest, ReleaseMovesTheLastLiveComponentIntoTheGap) {
    ComponentPoolBase pool(particle, 3);
    const ComponentHandle a = pool.allocateComponent();
    const ComponentHandle b = pool.allocateComponent();
    const ComponentHandle c = pool.allocateComponent();
    EXPECT_EQ(a.index, 0u);
    EXPECT_EQ(c.index, 2u);
    EXPECT_EQ(c.resolve()->getFlags() & Component::PoolAllocatedFlag, 1u);
    EXPECT_EQ(c.resolve()->getTypeId(), particle);

    pool.deallocateComponent(a);
    EXPECT_EQ(pool.size(), 2u);
    EXPECT_EQ(pool.getSlotAt(0), 2u);
    EXPECT_EQ(c.resolve()->getRosterIndex(), 0u);
    EXPECT_EQ(b.resolve()->getRosterIndex(), 1u);
    EXPECT_EQ(pool.getSlotAt(2), 0u) << "the released slot is the first free one";
    EXPECT_EQ(Particle::live, 2);

    const ComponentHandle d = pool.allocateComponent();
    EXPECT_EQ(d.index, 0u) << "the released slot is reused";
    EXPECT_EQ(a.resolve(), nullptr) << "the old handle does not see the new occupant";
    EXPECT_EQ(d.resolve()->getRosterIndex(), 2u);
}

TEST_F(ComponentPoolTest, StaleHandlesAndMisuse) {
    AssertRecorder recorder;
    EXPECT_EQ(ComponentHandle{}.resolve(), nullptr);

    ComponentPoolBase pool(particle, 2);
    ComponentPoolBase other(particle, 2);
    const ComponentHandle a = pool.allocateComponent();
    const ComponentHandle b = pool.allocateComponent();
    pool.deallocateComponent(a);
    EXPECT_EQ(a.resolve(), nullptr);
    EXPECT_TRUE(recorder.empty());

    // Releasing again, or through another pool, must not release whatever lives there now.
    const ComponentHandle reused = pool.allocateComponent();
    ASSERT_EQ(reused.index, a.index);
    pool.deallocateComponent(a);
    other.deallocateComponent(b);
    EXPECT_EQ(recorder.count(), 2u);
    EXPECT_TRUE(recorder.saw("rosterIndex < next && \"Roster index out of bounds\""));
    EXPECT_EQ(pool.size(), 2u);
    EXPECT_NE(reused.resolve(), nullptr);
    EXPECT_NE(b.resolve(), nullptr);
    expectRosterInvariant(pool);
}

TEST_F(ComponentPoolTest, GenerationsWrapAfter65536Allocations) {
    ComponentPoolBase pool(particle, 1);
    const ComponentHandle first = pool.allocateComponent();
    pool.deallocateComponent(first);
    for (uint32_t i = 1; i < 65536; ++i) {
        const ComponentHandle h = pool.allocateComponent();
        ASSERT_EQ(h.index, first.index);
        ASSERT_EQ(first.resolve(), nullptr) << "after " << i << " generations";
        pool.deallocateComponent(h);
    }
    const ComponentHandle wrapped = pool.allocateComponent();
    EXPECT_EQ(wrapped.generation, first.generation);
    EXPECT_EQ(first.resolve(), wrapped.resolve()) << "16-bit generations repeat after 65,536 allocations";
}

TEST_F(ComponentPoolTest, RosterInvariantHoldsThroughRandomTraffic) {
    for (const bool growing : {false, true}) {
        SCOPED_TRACE(growing ? "growing" : "fixed");
        AssertRecorder recorder;
        ComponentPoolBase pool(particle, growing ? 1 : 64);
        if (growing)
            pool.setFlags(ComponentPoolBase::AutomaticGrowth);
        std::mt19937 random(growing ? 1234 : 4321);
        std::vector<ComponentHandle> live;
        std::vector<ComponentHandle> dead;
        for (int step = 0; step < 10000; ++step) {
            const bool allocate = live.empty() || (random() % 100) < (growing ? 60u : 50u);
            if (allocate && (growing || pool.size() < pool.capacity())) {
                const ComponentHandle h = pool.allocateComponent();
                ASSERT_FALSE(h.empty());
                static_cast<Particle*>(h.resolve())->payload[0] = static_cast<uint64_t>(step);
                live.push_back(h);
            } else if (!live.empty()) {
                const size_t pick = random() % live.size();
                pool.deallocateComponent(live[pick]);
                dead.push_back(live[pick]);
                live[pick] = live.back();
                live.pop_back();
            }
            ASSERT_EQ(pool.size(), live.size());
            expectRosterInvariant(pool);
            if (HasFatalFailure())
                return;
        }
        EXPECT_TRUE(recorder.empty());
        for (const ComponentHandle& h : live)
            ASSERT_NE(h.resolve(), nullptr);
        size_t resolvingDead = 0;
        for (const ComponentHandle& h : dead)
            resolvingDead += h.resolve() != nullptr;
        EXPECT_EQ(resolvingDead, 0u);
        EXPECT_EQ(Particle::live, static_cast<int>(live.size()));
    }
}

TEST_F(ComponentPoolTest, MemoryIsStoragePlusFourBytesPerSlot) {
    TaggingAllocator allocator;
    {
        ComponentPoolBase pool(particle, 1000, &allocator, MemBlockType::Component);
        for (int i = 0; i < 500; ++i)
            pool.allocateComponent();
        EXPECT_EQ(allocator.getAllocatedBytes(), 1000u * 64 + 1000u * 4);
        EXPECT_EQ(allocator.getAllocationCount(), 2u) << "no allocation per component";
        std::map<MemBlockType, uint64_t> byTag;
        for (const auto& [block, info] : allocator.blocks)
            byTag[info.second] += info.first;
        EXPECT_EQ(byTag[MemBlockType::Component], 64000u);
        EXPECT_EQ(byTag[MemBlockType::Buffer], 4000u);
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
