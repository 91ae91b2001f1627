// Taking in 200 plug-ins, each a shared object of its own.
//
// One item is one plug-in. "plugins" is all that the host does: properties read from the file, the file checked, its
// code loaded, "Reload" and "Startup" sent. "listed" stops at the properties: nothing is loaded. The peers are the
// loader by itself and GModule, each with the look-up of the entry and the two calls. Each run is a process of its own,
// since what has been loaded stays; the subjects take turns, and the best of the rounds counts.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include <dlfcn.h>
#include <gmodule.h>
#include <sys/wait.h>
#include <unistd.h>

#include <RiverKit/MoonVetch/Host.h>

namespace
{

constexpr int kPlugins = 200;
constexpr int kRounds = 7;

using Paths = std::vector<std::string>;

/// Copies of the plug-in, removed at the end.
struct Folder
{
    Folder()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "rk-bench-XXXXXX").string();
        path = mkdtemp(pattern.data());
        for (int i = 0; i < kPlugins; ++i)
        {
            plugins.push_back(path + "/Plugin" + std::to_string(i) + ".so");
            std::filesystem::copy_file(RK_BENCH_PLUGIN, plugins.back());
        }
    }
    ~Folder() { std::filesystem::remove_all(path); }

    std::string path;
    Paths plugins;
};

bool AddAll(const Paths& inPaths)
{
    bool good = MVInit(nullptr, 0, 0) == kMVNoError;
    std::int32_t added = 0;
    for (const std::string& path : inPaths)
        good = good && MVAddPluginFile(nullptr, path.c_str(), &added) == kMVNoError && added == 1;
    return good;
}

bool Host(const Paths& inPaths)
{
    return AddAll(inPaths) && MVStartupPlugins() == kMVNoError;
}

bool Loader(const Paths& inPaths)
{
    bool good = true;
    for (const std::string& path : inPaths)
    {
        void* const code = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
        void* const entry = code == nullptr ? nullptr : dlsym(code, "PluginMain");
        good = good && entry != nullptr;
        for (int i = 0; good && i < 2; ++i)
            reinterpret_cast<MVPluginEntry>(entry)("", "", nullptr);
    }
    return good;
}

bool GModuleLoader(const Paths& inPaths)
{
    bool good = true;
    for (const std::string& path : inPaths)
    {
        GModule* const code = g_module_open(path.c_str(), G_MODULE_BIND_LOCAL);
        void* entry = nullptr;
        good = good && code != nullptr && g_module_symbol(code, "PluginMain", &entry) != 0;
        for (int i = 0; good && i < 2; ++i)
            reinterpret_cast<MVPluginEntry>(entry)("", "", nullptr);
    }
    return good;
}

/// @return microseconds for each plug-in, taken in a process of its own; below 0 if it failed.
double TimeOf(bool (*inSubject)(const Paths&), const Paths& inPaths)
{
    int ends[2];
    if (pipe(ends) != 0)
        return -1;
    const pid_t child = fork();
    if (child == 0)
    {
        const auto start = std::chrono::steady_clock::now();
        const bool good = inSubject(inPaths);
        const std::chrono::duration<double, std::micro> taken =
            std::chrono::steady_clock::now() - start;
        const double figure = good ? taken.count() / kPlugins : -1;
        _exit(write(ends[1], &figure, sizeof figure) == sizeof figure ? 0 : 1);
    }
    double figure = -1;
    if (child < 0 || read(ends[0], &figure, sizeof figure) != sizeof figure)
        figure = -1;
    waitpid(child, nullptr, 0);
    close(ends[0]);
    close(ends[1]);
    return figure;
}

void TakeIn(benchmark::State& ioState)
{
    struct Subject
    {
        const char* name;
        bool (*run)(const Paths&);
    };
    constexpr Subject kSubjects[] = {
        {"plugins", Host}, {"listed", AddAll}, {"dlopen", Loader}, {"gmodule", GModuleLoader}};
    const Folder folder;
    std::map<std::string, double> best;
    for (auto _ : ioState)
    {
        for (int round = 0; round < kRounds; ++round)
        {
            for (const Subject& subject : kSubjects)
            {
                const double figure = TimeOf(subject.run, folder.plugins);
                if (figure < 0)
                    return ioState.SkipWithError(subject.name);
                // What others do on the machine meanwhile only ever adds.
                const auto known = best.emplace(subject.name, figure).first;
                known->second = std::min(known->second, figure);
            }
        }
    }
    for (const auto& [name, figure] : best)
        ioState.counters[name + "_us"] = figure;
    ioState.counters["ratio_to_dlopen"] = best["plugins"] / best["dlopen"];
    ioState.counters["ratio_to_gmodule"] = best["plugins"] / best["gmodule"];
}
BENCHMARK(TakeIn)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace
