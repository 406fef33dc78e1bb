#include <Tarn/Logging/Consumer.h>
#include <Tarn/Logging/LogManager.h>

namespace Tarn::Logging {

std::atomic<Category> Consumer::defaultMinimumCategory{Category::Trace};

namespace {

#define TARN_ESCAPE "\x1b"
const char* const categoryNames[] = {"Trace", "Debug", "Info", "Warning", "Error", "Fatal"};
const char* const categoryNamesColor[] = {
    "Trace",
    "Debug",
    "Info",
    TARN_ESCAPE "[33mWarning" TARN_ESCAPE "[0m",
    TARN_ESCAPE "[31mError" TARN_ESCAPE "[0m",
    TARN_ESCAPE "[31mFatal" TARN_ESCAPE "[0m",
};
#undef TARN_ESCAPE

} // namespace

Consumer::Consumer() {
    registerConsumer(this);
    minimumCategory.store(defaultMinimumCategory.load(std::memory_order_relaxed), std::memory_order_relaxed);
    Detail::recomputeEffectiveMinimum();
}

Consumer::~Consumer() {
    unregisterConsumer(this);
    Detail::recomputeEffectiveMinimum();
}

void Consumer::setMinimumCategory(Category category) {
    minimumCategory.store(category, std::memory_order_relaxed);
    Detail::recomputeEffectiveMinimum();
}

void Consumer::setDefaultMinimumCategory(Category category) {
    defaultMinimumCategory.store(category, std::memory_order_relaxed);
}

Category Consumer::getDefaultMinimumCategory() {
    return defaultMinimumCategory.load(std::memory_order_relaxed);
}

const char* Consumer::getCategoryName(Category category) {
    return categoryNames[static_cast<int32_t>(category)];
}

const char* Consumer::getCategoryNameColor(Category category) {
    return categoryNamesColor[static_cast<int32_t>(category)];
}

} // namespace Tarn::Logging
