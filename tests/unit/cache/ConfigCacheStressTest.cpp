#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "AppConfig/ConfigCache.h"

using namespace AppConfig;

namespace {

// Meant for the sanitizers: a race or a use after free in the cache shows here, whatever the values are.
TEST(ConfigCacheStress, ReadersSurviveUpdatesAndRemovals) {
    constexpr int rounds = 3000;
    ConfigCache cache;
    const std::vector<ConfigVar> vars = {ConfigVar(0, "display", 0, "brightness", 0),
                                         ConfigVar(0, "display.panel", 1, "mode", 0), ConfigVar(0, "audio", 0, "x", 2)};
    std::atomic<bool> done{false};
    std::atomic<std::size_t> read{0};
    std::atomic<int> torn{0};

    std::vector<std::thread> readers;
    for (int i = 0; i < 4; ++i) {
        readers.emplace_back([&] {
            while (!done.load()) {
                for (const ConfigVar& var : vars) {
                    const ConfigCache::iterator record = cache.getConfigValue(var);
                    if (record == cache.end()) continue;
                    const std::list<std::string> value = record->second.getValue();
                    // Every value is written as two equal strings.
                    if (!value.empty() && value.front() != value.back()) ++torn;
                    read += value.size() + (record->second.hasOptions() ? record->second.getOptions().size() : 0);
                }
            }
        });
    }
    std::vector<std::thread> writers;
    writers.emplace_back([&] {
        for (int i = 0; i < rounds; ++i) {
            const std::string text = "a value long enough to be allocated " + std::to_string(i);
            for (const ConfigVar& var : vars) cache.update(var, {text, text});
        }
    });
    writers.emplace_back([&] {
        for (int i = 0; i < rounds; ++i) {
            cache.updateOptions(vars[0], {"an option long enough to be allocated", std::to_string(i)});
            cache.updateIsDefault(vars[1], i % 2 == 0);
            cache.updateOptionDefaultIndex(vars[2], 1);
            cache.updateAccessLevels(vars[0], ConfigAccessLevels());
        }
    });
    writers.emplace_back([&] {
        for (int i = 0; i < rounds; ++i) {
            cache.setStale(vars[static_cast<std::size_t>(i) % vars.size()]);
            if (i % 16 == 0) cache.removeVars("display");
            if (i % 64 == 0) cache.reset();
        }
    });
    for (std::thread& writer : writers) writer.join();
    done = true;
    for (std::thread& reader : readers) reader.join();

    EXPECT_EQ(torn.load(), 0) << "a record was changed while it was read";
    cache.update(vars[0], {"still", "works"});
    EXPECT_EQ(cache.getConfigValue(vars[0])->second.getSinglestringValue(), "still");
}

}  // namespace
