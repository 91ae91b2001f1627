// The plug-in host: what an application and its plug-ins do all the time.
//
// internKnown  each item looks up one of 4096 known strings of 22 to 26 characters.
// internNew    each item makes a string that was not there; the pool begins empty and takes 4096.
// suite        each item acquires a suite by name and releases it, of 64 that are there besides the host's own.
// message      each item sends a message to one of 16 plug-ins in the program, which answers at once.
// property     each item looks one of a plug-in's 16 properties up.
// startUp      each item is one plug-in in the program that is listed, started, shut down and disposed of; as many
//              at a time as the argument says.
//
// One item is as told above; items per second is wall-clock. The peers are what one writes first: an unordered_set of
// std::string; an unordered_map from name and version to a record with a count, and GModule's look-up of a symbol of the
// program; a call through a pointer that an unordered_map holds; an unordered_map of three keys; and a vector of
// entries, called one after the other. None of these keeps order, loads, starts or unloads anything.

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <benchmark/benchmark.h>
#include <boost/functional/hash.hpp>
#include <gmodule.h>

#include "MoonVetch/Host.h"

namespace
{

constexpr std::size_t kStrings = 4096;
constexpr std::size_t kSuites = 64;
constexpr std::size_t kPlugins = 16;
constexpr std::uint32_t kProperties = 16;
constexpr int kTable = 1;

const std::vector<std::string>& Texts()
{
    static const std::vector<std::string> sTexts = []
    {
        std::vector<std::string> texts;
        for (std::size_t i = 0; i < kStrings; ++i)
            texts.push_back("clips/reel_" + std::to_string(i / 64) + "/shot_" +
                            std::to_string(1000 + i));
        return texts;
    }();
    return sTexts;
}

/// The next place of a walk that leaves no pattern to a cache.
std::size_t Step(std::size_t& ioPlace, std::size_t inCount)
{
    ioPlace = (ioPlace + 1777) % inCount;
    return ioPlace;
}

class Host
{
public:
    Host() { MVInit(nullptr, 0, 0); }
    ~Host() { MVTerm(); }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;
};

MVResult Answer(const char* inCaller, const char*, void*)
{
    return MVBasicIsEqual(inCaller, kMVPropertiesCaller) != 0 ? kMVNotImplementedError : kMVNoError;
}

MVPlugin* AddPlugin(const char* inName)
{
    MVPlugin* plugin = nullptr;
    MVAddHostPlugin(nullptr, &Answer, nullptr, kMVMoonVetch2Adapter, nullptr, &plugin, inName);
    return plugin;
}

class Pool
{
public:
    Pool() { MVAllocateStringPool(&mPool); }
    ~Pool() { MVFreeStringPool(mPool); }
    Pool(const Pool&) = delete;
    Pool& operator=(const Pool&) = delete;

    const char* Make(const std::string& inText)
    {
        MVWString string = nullptr;
        MVMakeWString(mPool, inText.c_str(), &string);
        return string;
    }

private:
    MVStringPool* mPool = nullptr;
};

class StringSet
{
public:
    const char* Make(const std::string& inText) { return mStrings.insert(inText).first->c_str(); }

private:
    std::unordered_set<std::string> mStrings;
};

template <class Table>
void InternKnown(benchmark::State& ioState)
{
    Table table;
    for (const std::string& text : Texts())
        table.Make(text);
    std::size_t place = 0;
    for (auto _ : ioState)
        benchmark::DoNotOptimize(table.Make(Texts()[Step(place, kStrings)]));
    ioState.SetItemsProcessed(ioState.iterations());
}

template <class Table>
void InternNew(benchmark::State& ioState)
{
    for (auto _ : ioState)
    {
        Table table;
        std::size_t place = 0;
        for (std::size_t i = 0; i < kStrings; ++i)
            benchmark::DoNotOptimize(table.Make(Texts()[Step(place, kStrings)]));
    }
    ioState.SetItemsProcessed(ioState.iterations() * static_cast<std::int64_t>(kStrings));
}

class Suites
{
public:
    Suites()
    {
        for (std::size_t i = 0; i < kSuites; ++i)
            MVAddSuite(nullptr, nullptr, Texts()[i].c_str(), 1, 1, &kTable, nullptr);
        const void* basic = nullptr;
        MVBasicAcquireSuite(kMVBasicSuite, kMVBasicSuiteVersion, &basic);
        mBasic = static_cast<const MVBasicSuite*>(basic);
    }
    const void* Use(const std::string& inName)
    {
        const void* table = nullptr;
        mBasic->AcquireSuite(inName.c_str(), 1, &table);
        mBasic->ReleaseSuite(inName.c_str(), 1);
        return table;
    }

private:
    Host mHost;
    const MVBasicSuite* mBasic = nullptr;
};

class MapOfSuites
{
public:
    MapOfSuites()
    {
        for (std::size_t i = 0; i < kSuites; ++i)
            mSuites.emplace(Texts()[i], Record{&kTable, 0});
    }
    const void* Use(const std::string& inName)
    {
        Record& record = mSuites.at(inName);
        ++record.count;
        benchmark::DoNotOptimize(record.count);
        --mSuites.at(inName).count;
        return record.table;
    }

private:
    struct Record
    {
        const void* table;
        int count;
    };
    std::unordered_map<std::string, Record> mSuites;
};

template <class Registry>
void Suite(benchmark::State& ioState)
{
    Registry registry;
    std::size_t place = 0;
    for (auto _ : ioState)
        benchmark::DoNotOptimize(registry.Use(Texts()[Step(place, kSuites)]));
    ioState.SetItemsProcessed(ioState.iterations());
}

// Of a symbol that is there: the library's own functions are.
void SuiteGModule(benchmark::State& ioState)
{
    GModule* program = g_module_open(nullptr, G_MODULE_BIND_LAZY);
    constexpr const char* kNames[] = {"MVInit", "MVTerm", "MVAddPlugin", "MVSendMessage"};
    std::size_t place = 0;
    for (auto _ : ioState)
    {
        void* symbol = nullptr;
        if (g_module_symbol(program, kNames[++place % 4], &symbol) == FALSE)
            ioState.SkipWithError("the symbol was not found");
        benchmark::DoNotOptimize(symbol);
    }
    ioState.SetItemsProcessed(ioState.iterations());
    g_module_close(program);
}

void Message(benchmark::State& ioState)
{
    const Host host;
    std::array<MVPlugin*, kPlugins> plugins{};
    for (MVPlugin*& plugin : plugins)
        plugin = AddPlugin(nullptr);
    std::size_t place = 0;
    for (auto _ : ioState)
    {
        MVResult answer = kMVNoError;
        MVSendMessage(plugins[Step(place, kPlugins)], "a caller", "a selector", nullptr, &answer);
        benchmark::DoNotOptimize(answer);
    }
    ioState.SetItemsProcessed(ioState.iterations());
}

void MessageByPointer(benchmark::State& ioState)
{
    std::unordered_map<std::size_t, MVPluginEntry> entries;
    for (std::size_t i = 0; i < kPlugins; ++i)
        entries.emplace(i, &Answer);
    std::size_t place = 0;
    for (auto _ : ioState)
    {
        MVMessageData message = {};
        benchmark::DoNotOptimize(
            entries.at(Step(place, kPlugins))("a caller", "a selector", &message));
    }
    ioState.SetItemsProcessed(ioState.iterations());
}

void Property(benchmark::State& ioState)
{
    const Host host;
    MVPlugin* plugin = AddPlugin(nullptr);
    MVPropertyList* list = nullptr;
    MVGetPluginPropertyList(plugin, &list);
    PIProperty record = {kMVVendorID, 0, 0, 0};
    for (record.propertyKey = 0; record.propertyKey < kProperties; ++record.propertyKey)
        MVAddProperty(list, kMVVendorID, record.propertyKey, 0, &record, 0, 1, nullptr);
    std::size_t place = 0;
    for (auto _ : ioState)
    {
        PIProperty* found = nullptr;
        MVFindPluginProperty(plugin, kMVVendorID,
                             static_cast<std::uint32_t>(Step(place, kProperties)), 0, &found);
        benchmark::DoNotOptimize(found);
    }
    ioState.SetItemsProcessed(ioState.iterations());
}

void PropertyInMap(benchmark::State& ioState)
{
    using Key = std::tuple<std::uint32_t, std::uint32_t, std::uint32_t>;
    std::unordered_map<Key, PIProperty, boost::hash<Key>> properties;
    for (std::uint32_t key = 0; key < kProperties; ++key)
        properties.emplace(Key{kMVVendorID, key, 0}, PIProperty{kMVVendorID, key, 0, 0});
    std::size_t place = 0;
    for (auto _ : ioState)
    {
        const Key key{kMVVendorID, static_cast<std::uint32_t>(Step(place, kProperties)), 0};
        benchmark::DoNotOptimize(&properties.at(key));
    }
    ioState.SetItemsProcessed(ioState.iterations());
}

void StartUp(benchmark::State& ioState)
{
    const auto count = static_cast<std::size_t>(ioState.range(0));
    for (auto _ : ioState)
    {
        const Host host;
        for (std::size_t i = 0; i < count; ++i)
            AddPlugin(nullptr);
        MVStartupPlugins();
        MVShutdownPlugins();
    }
    ioState.SetItemsProcessed(ioState.iterations() * ioState.range(0));
}

void StartUpVector(benchmark::State& ioState)
{
    const auto count = static_cast<std::size_t>(ioState.range(0));
    for (auto _ : ioState)
    {
        std::vector<std::unique_ptr<MVPluginEntry>> entries;
        for (std::size_t i = 0; i < count; ++i)
            entries.push_back(std::make_unique<MVPluginEntry>(&Answer));
        MVMessageData message = {};
        for (const char* selector : {kMVInterfaceStartupSelector, kMVInterfaceShutdownSelector})
        {
            for (const auto& entry : entries)
                benchmark::DoNotOptimize((*entry)(kMVInterfaceCaller, selector, &message));
        }
    }
    ioState.SetItemsProcessed(ioState.iterations() * ioState.range(0));
}

BENCHMARK_TEMPLATE(InternKnown, Pool);
BENCHMARK_TEMPLATE(InternKnown, StringSet);
BENCHMARK_TEMPLATE(InternNew, Pool);
BENCHMARK_TEMPLATE(InternNew, StringSet);
BENCHMARK_TEMPLATE(Suite, Suites);
BENCHMARK_TEMPLATE(Suite, MapOfSuites);
BENCHMARK(SuiteGModule);
BENCHMARK(Message);
BENCHMARK(MessageByPointer);
BENCHMARK(Property);
BENCHMARK(PropertyInMap);
BENCHMARK(StartUp)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(StartUpVector)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

} // namespace
