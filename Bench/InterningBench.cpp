// Interning: look-ups of strings that are known, and of strings that come and go.
//
// known     each item looks up one of 4096 known strings of 22 to 26 ASCII characters ("clips/reel_17/
//           shot_0042"), copies the result once, and drops both. Threads begin at different places.
// one       the same, but all threads look up one and the same string.
// comeAndGo each item makes a string that nobody holds, and drops it; a purge every 1000 items.
//
// One item is one look-up; items per second is wall-clock, all threads together. The peers are one mutex
// around a std::unordered_map with counts, and boost::flyweight with its defaults (one lock, a value is
// dropped with its last holder) for known, and without tracking for the rest.

#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include <benchmark/benchmark.h>
#include <boost/flyweight.hpp>
#include <boost/functional/hash.hpp>

#include "qelcore/ImmutableString.h"

namespace
{

using qelcore::UTF16String;
using qelcore::utility::ImmutableString;

constexpr std::size_t kKnown = 4096;

const std::vector<UTF16String>& Texts()
{
    static const std::vector<UTF16String> sTexts = []
    {
        std::vector<UTF16String> texts;
        for (std::size_t i = 0; i < kKnown; ++i)
        {
            const std::string text =
                "clips/reel_" + std::to_string(i / 64) + "/shot_" + std::to_string(1000 + i);
            texts.emplace_back(text.begin(), text.end());
        }
        return texts;
    }();
    return sTexts;
}

// What everybody writes first: one mutex, and shared pointers for the counting.
class OneMutexTable
{
public:
    using String = std::shared_ptr<const UTF16String>;

    static String Make(const UTF16String& inText)
    {
        const std::lock_guard<std::mutex> lock(sMutex);
        const auto found = sStrings.find(inText);
        if (found != sStrings.end())
            return found->second;
        return sStrings.emplace(inText, std::make_shared<const UTF16String>(inText)).first->second;
    }
    static void Purge()
    {
        const std::lock_guard<std::mutex> lock(sMutex);
        std::erase_if(sStrings, [](const auto& inPair) { return inPair.second.use_count() == 1; });
    }

private:
    static inline std::mutex sMutex;
    static inline std::unordered_map<UTF16String, String> sStrings;
};

class Interned
{
public:
    using String = ImmutableString;
    static String Make(const UTF16String& inText) { return ImmutableString::CreateDynamic(inText); }
    static void Purge() { ImmutableString::PurgeUnusedStrings(); }
};

class Flyweight
{
public:
    using String = boost::flyweight<UTF16String>;
    static String Make(const UTF16String& inText) { return String(inText); }
    static void Purge() {}
};

template <class Table>
void Known(benchmark::State& ioState)
{
    const std::vector<UTF16String>& texts = Texts();
    std::vector<typename Table::String> held;
    for (const UTF16String& text : texts)
        held.push_back(Table::Make(text));
    std::size_t i = static_cast<std::size_t>(ioState.thread_index()) * 1777;
    for (auto _ : ioState)
    {
        const typename Table::String found = Table::Make(texts[++i % kKnown]);
        const typename Table::String copy = found;
        benchmark::DoNotOptimize(&copy);
    }
    ioState.SetItemsProcessed(ioState.iterations());
}

template <class Table>
void One(benchmark::State& ioState)
{
    const UTF16String& text = Texts().front();
    const typename Table::String held = Table::Make(text);
    for (auto _ : ioState)
    {
        const typename Table::String found = Table::Make(text);
        benchmark::DoNotOptimize(&found);
    }
    ioState.SetItemsProcessed(ioState.iterations());
}

template <class Table>
void ComeAndGo(benchmark::State& ioState)
{
    UTF16String text = u"a text that nobody keeps: 00000000";
    std::size_t i = 0;
    for (auto _ : ioState)
    {
        ++i;
        for (std::size_t digit = 0; digit < 8; ++digit)
            text[text.size() - 1 - digit] = static_cast<char16_t>(u'a' + ((i >> (4 * digit)) & 15));
        benchmark::DoNotOptimize(Table::Make(text));
        if (i % 1000 == 0)
            Table::Purge();
    }
    Table::Purge();
    ioState.SetItemsProcessed(ioState.iterations());
}

BENCHMARK_TEMPLATE(Known, Interned)->ThreadRange(1, 2)->UseRealTime();
BENCHMARK_TEMPLATE(Known, OneMutexTable)->ThreadRange(1, 2)->UseRealTime();
BENCHMARK_TEMPLATE(Known, Flyweight)->ThreadRange(1, 2)->UseRealTime();
BENCHMARK_TEMPLATE(One, Interned)->ThreadRange(1, 2)->UseRealTime();
BENCHMARK_TEMPLATE(One, OneMutexTable)->ThreadRange(1, 2)->UseRealTime();
BENCHMARK_TEMPLATE(One, Flyweight)->ThreadRange(1, 2)->UseRealTime();
BENCHMARK_TEMPLATE(ComeAndGo, Interned);
BENCHMARK_TEMPLATE(ComeAndGo, OneMutexTable);
BENCHMARK_TEMPLATE(ComeAndGo, Flyweight);

} // namespace
