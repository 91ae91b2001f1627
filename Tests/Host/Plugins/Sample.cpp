// One plug-in of what rkhost is to bear; SAMPLE_... says which.
#include <cstdlib>
#include <cstring>
#include <fstream>

#include <fcntl.h>
#include <unistd.h>

#include <RiverKit/MoonVetch/MoonVetch.h>

#if defined(SAMPLE_NO_PLUGIN)
// It has code, and declares nothing.
MV_ENTRY(PluginMain)(const char*, const char*, void*)
{
    return kMVNoError;
}
#else

namespace
{

[[maybe_unused]] void Crash()
{
    volatile int* volatile nowhere = nullptr;
    *nowhere = 1;
}

/// Opens the pipe of whoever waits until it hangs.
[[maybe_unused]] void Hang()
{
    if (const char* const pipe = std::getenv("RK_TEST_HANGS"))
        close(open(pipe, O_WRONLY | O_CLOEXEC));
    for (;;)
        pause();
}

[[maybe_unused]] void CloseDescriptors()
{
    for (int descriptor = 0; descriptor < 1024; ++descriptor)
        close(descriptor);
}

/// Writes whatever it likes into each descriptor that there is.
[[maybe_unused]] void ScribbleReport()
{
    constexpr char kText[] = "row\t\x1b[2Jforged\nat\t99\nsick\t-7\nat\n\nend\n";
    for (int descriptor = 0; descriptor < 64; ++descriptor)
        if (write(descriptor, kText, sizeof kText - 1) < 0)
            continue;
}

/// Writes lines for ever.
[[maybe_unused]] void FloodReport()
{
    while (write(3, "at\t0\n", 5) > 0)
    {
    }
}

/// Leaves a process behind, in a session of its own, and its number in a file.
[[maybe_unused]] void LeaveProcess()
{
    const pid_t left = fork();
    if (left == 0)
    {
        setsid();
        Hang();
    }
    if (const char* const file = std::getenv("RK_TEST_LEFT_PROCESS"))
        std::ofstream(file) << left << std::endl;
}

#if defined(SAMPLE_ON_LOAD)
[[gnu::constructor]] void OnLoad()
{
    SAMPLE_ON_LOAD;
}
#endif

[[maybe_unused]] const int sTable = 0;

[[maybe_unused]] MVResult AddSuite(MVMessageData* inMessage)
{
    const void* suites = nullptr;
    const MVResult result =
        inMessage->basic->AcquireSuite(kMVSuitesSuite, kMVSuitesSuiteVersion, &suites);
    if (result != kMVNoError)
        return result;
    MVSuite* suite = nullptr;
    const MVResult added = static_cast<const MVSuitesSuite*>(suites)->AddSuite(
        nullptr, inMessage->self, "Sample Suite", 7, 2, &sTable, &suite);
    inMessage->basic->ReleaseSuite(kMVSuitesSuite, kMVSuitesSuiteVersion);
    return added;
}

[[maybe_unused]] MVResult NeedSuite(MVMessageData* inMessage)
{
    const void* table = nullptr;
    return inMessage->basic->AcquireSuite("Sample Suite", 7, &table);
}

[[maybe_unused]] MVResult NeedMissingSuite(MVMessageData* inMessage)
{
    const void* table = nullptr;
    return inMessage->basic->AcquireSuite("Nobody's Suite", 1, &table);
}

MVResult OnStartup([[maybe_unused]] MVMessageData* inMessage)
{
#if defined(SAMPLE_ON_STARTUP)
    SAMPLE_ON_STARTUP;
#endif
#if defined(SAMPLE_ANSWER)
    return SAMPLE_ANSWER;
#else
    return kMVNoError;
#endif
}

} // namespace

#if defined(SAMPLE_PROPERTY)
MV_PLUGIN_PROPERTIES(MV_PLUGIN_NAME(SAMPLE_NAME), MV_PLUGIN_ENTRY("PluginMain"), SAMPLE_PROPERTY);
#else
MV_PLUGIN_PROPERTIES(MV_PLUGIN_NAME(SAMPLE_NAME), MV_PLUGIN_ENTRY("PluginMain"));
#endif

MV_ENTRY(PluginMain)(const char* inCaller, const char* inSelector, void* inMessage)
{
    if (std::strcmp(inCaller, kMVInterfaceCaller) == 0 &&
        std::strcmp(inSelector, kMVInterfaceStartupSelector) == 0)
        return OnStartup(static_cast<MVMessageData*>(inMessage));
    return kMVNoError;
}

#endif
