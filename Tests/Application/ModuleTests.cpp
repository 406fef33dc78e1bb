#include <Tarn/Application/Module.h>

#include <LogCapture.h>

#include <gtest/gtest.h>

#include <string>

using Tarn::Module;
using Tarn::Testing::LogCapture;

namespace {

using PluginFunction = int (*)(int);
constexpr const char* pluginSymbol = "tarnTestPluginTwiceAndOne";

#if defined(_WIN32)
constexpr const char* pluginFile = "TarnTestPlugin.x64.Release.dll";
// A short name that does not exist is reported with the platform suffix but not the configuration.
constexpr const char* missingReported = "TarnNoSuchPlugin.x64";
#else
constexpr const char* pluginFile = "libTarnTestPlugin.so";
constexpr const char* missingReported = "libTarnNoSuchPlugin.so";
#endif

// A module that loads itself, as the platform modules of the library do.
class PluginModule : public Module {
public:
    explicit PluginModule(const char* name) {
        load(name, loadStatus, handle);
        initPtrs();
    }
    void initPtrs() override { function = reinterpret_cast<PluginFunction>(getProcAddress(pluginSymbol)); }
    PluginFunction function = nullptr;
};

} // namespace

// The short name follows the convention, the full file name loads unchanged; both reach the same
// library, and an exported function is called through the looked-up address.
TEST(Module, LoadsPluginByShortAndFullNameAndLooksUpSymbols) {
    LogCapture capture;
    for (const char* name : {"TarnTestPlugin", pluginFile}) {
        SCOPED_TRACE(name);
        PluginModule module(name);
        ASSERT_EQ(module.getLoadStatus(), Module::LoadStatus::Loaded);
        ASSERT_NE(module.getHandle(), nullptr);
        ASSERT_NE(module.function, nullptr);
        EXPECT_EQ(module.function(20), 41);
        EXPECT_EQ(Module::getProcAddress(module.getHandle(), pluginSymbol),
                  reinterpret_cast<void*>(module.function));
        EXPECT_EQ(module.getProcAddress("tarnTestPluginNoSuchFunction"), nullptr);
    }
    EXPECT_EQ(PluginModule("TarnTestPlugin"), PluginModule(pluginFile));
    EXPECT_EQ(Module::getProcAddress(nullptr, pluginSymbol), nullptr);
    EXPECT_EQ(capture.count(), 0u) << "a missing symbol is no log line";
}

TEST(Module, MissingLibraryFailsWithOneLogLine) {
    LogCapture capture;
    Module::LoadStatus status = Module::LoadStatus::Unloaded;
    Module::Handle handle = reinterpret_cast<Module::Handle>(&status);
    Module::load("TarnNoSuchPlugin", status, handle);
    EXPECT_EQ(status, Module::LoadStatus::Failed);
    EXPECT_EQ(handle, nullptr);

    const auto entries = capture.entries();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].category, Tarn::Logging::Category::Error);
    EXPECT_EQ(entries[0].logName, "Module");
    const std::string head = std::string("Failed to load ") + missingReported + ": Error ";
    const std::string& text = entries[0].message;
    ASSERT_EQ(text.compare(0, head.size(), head), 0) << text;
    // Then the code in "%#x" form and the system's text, without trailing line breaks.
    const std::size_t separator = text.find(": ", head.size());
    ASSERT_NE(separator, std::string::npos) << text;
    const std::string code = text.substr(head.size(), separator - head.size());
    EXPECT_TRUE(code == "0" || code.rfind("0x", 0) == 0) << code;
    EXPECT_GT(text.size(), separator + 2) << text;
    EXPECT_NE(text.back(), '\n');
    EXPECT_NE(text.back(), '\r');

    PluginModule failed("TarnNoSuchPlugin");
    EXPECT_EQ(failed.getLoadStatus(), Module::LoadStatus::Failed);
    EXPECT_EQ(failed.function, nullptr);
    EXPECT_EQ(failed.getProcAddress(pluginSymbol), nullptr);
}

#if defined(_WIN32)
// A name holding ".dll" is handed to the loader unchanged, system libraries included.
TEST(Module, SystemLibraryLoadsUnchanged) {
    Module::LoadStatus status = Module::LoadStatus::Unloaded;
    Module::Handle handle = nullptr;
    Module::load("user32.dll", status, handle);
    EXPECT_EQ(status, Module::LoadStatus::Loaded);
    EXPECT_NE(Module::getProcAddress(handle, "GetSystemMetrics"), nullptr);
}
#endif

// A default module is unloaded without a handle; equality needs both fields to match; copies carry
// both.
TEST(Module, DefaultStateEqualityAndCopies) {
    const Module unloaded;
    EXPECT_EQ(unloaded.getLoadStatus(), Module::LoadStatus::Unloaded);
    EXPECT_EQ(unloaded.getHandle(), nullptr);
    EXPECT_EQ(unloaded.getProcAddress(pluginSymbol), nullptr);
    EXPECT_EQ(static_cast<uint32_t>(Module::LoadStatus::Loaded), 1u);
    EXPECT_EQ(static_cast<uint32_t>(Module::LoadStatus::Failed), 2u);
    EXPECT_EQ(sizeof(Module::LoadStatus), 4u);

    const PluginModule loaded("TarnTestPlugin");
    const PluginModule failed("TarnNoSuchPlugin");
    Module copy(loaded);
    EXPECT_TRUE(copy == loaded);
    EXPECT_FALSE(copy != loaded);
    EXPECT_NE(copy.getHandle(), nullptr);
    EXPECT_TRUE(failed != unloaded); // both null handles, different status
    copy = failed;
    EXPECT_EQ(copy, failed);
    EXPECT_NE(copy, loaded);
}
