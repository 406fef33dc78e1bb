// The log manager beside spdlog (synchronous logger, single thread) on the same messages:
// a message nobody wants, a dispatched printf-style message with two arguments to a counting
// consumer (spdlog: null sink), and whole lines written to a file.
#include <Tarn/Logging/Consumer.h>
#include <Tarn/Logging/FileLogger.h>
#include <Tarn/Logging/Log.h>

#include <benchmark/benchmark.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/null_sink.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

using namespace Tarn::Logging;

namespace {

const Log benchLog("Bench");

struct CountingConsumer : Consumer {
    uint64_t messages = 0;
    uint64_t characters = 0;
    void consumeMessage(Tarn::StringView, Category, Tarn::StringView message, const char*, int) override {
        ++messages;
        characters += message.size();
    }
};

std::shared_ptr<spdlog::logger> nullLogger(spdlog::level::level_enum level) {
    auto logger = std::make_shared<spdlog::logger>("Bench", std::make_shared<spdlog::sinks::null_sink_st>());
    logger->set_level(level);
    return logger;
}

std::string tempPath(const char* name) {
    return (std::filesystem::temp_directory_path() / name).string();
}

void FilteredOut_Tarn(benchmark::State& state) {
    CountingConsumer consumer;
    consumer.setMinimumCategory(Category::Error);
    int frame = 0;
    for (auto _ : state) {
        benchLog.log(Category::Debug, "Frame %d took %s", frame++, "long");
    }
    if (consumer.messages != 0) {
        state.SkipWithError("a filtered message was delivered");
    }
}
BENCHMARK(FilteredOut_Tarn);

void FilteredOut_Spdlog(benchmark::State& state) {
    auto logger = nullLogger(spdlog::level::err);
    int frame = 0;
    for (auto _ : state) {
        logger->debug("Frame {} took {}", frame++, "long");
    }
}
BENCHMARK(FilteredOut_Spdlog);

void Dispatched_Tarn(benchmark::State& state) {
    CountingConsumer consumer;
    int frame = 0;
    for (auto _ : state) {
        benchLog.log(Category::Info, "Frame %d took %s", frame++, "long");
    }
    benchmark::DoNotOptimize(consumer.characters);
    state.counters["delivered"] = static_cast<double>(consumer.messages);
}
BENCHMARK(Dispatched_Tarn);

void Dispatched_Spdlog(benchmark::State& state) {
    auto logger = nullLogger(spdlog::level::trace);
    int frame = 0;
    for (auto _ : state) {
        logger->info("Frame {} took {}", frame++, "long");
    }
}
BENCHMARK(Dispatched_Spdlog);

void FileLines_Tarn(benchmark::State& state) {
    const std::string path = tempPath("tarn-bench-filelogger.log");
    {
        FileLogger logger;
        logger.initialize(path);
        int frame = 0;
        for (auto _ : state) {
            benchLog.log(Category::Info, "Frame %d took %s", frame++, "long");
        }
        logger.cleanUp();
    }
    state.SetItemsProcessed(state.iterations());
    std::filesystem::remove(path);
}
BENCHMARK(FileLines_Tarn);

void FileLines_Spdlog(benchmark::State& state) {
    const std::string path = tempPath("tarn-bench-spdlog.log");
    {
        auto sink = std::make_shared<spdlog::sinks::basic_file_sink_st>(path, true);
        spdlog::logger logger("Bench", sink);
        // The same line shape as the file consumer: no time stamp.
        logger.set_pattern("[%l][%n] %v");
        int frame = 0;
        for (auto _ : state) {
            logger.info("Frame {} took {}", frame++, "long");
        }
        logger.flush();
    }
    state.SetItemsProcessed(state.iterations());
    std::filesystem::remove(path);
}
BENCHMARK(FileLines_Spdlog);

} // namespace
