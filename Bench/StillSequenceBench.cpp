// Still sequences in a folder of 10,000 and of 100,000 numbered files, beside what the system asks for the
// same: a bare walk over the folder, the same walk with a look at each file, a look at each name.
// One item is one file. The folder is made once for each size, in $TMPDIR or the system's own place.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "RKStillSequence.h"
#include "qelcore/TextConversion.h"

namespace
{

class NumberedFiles
{
public:
    explicit NumberedFiles(int inCount)
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "rk-bench-XXXXXX").string();
        if (!mkdtemp(pattern.data()))
            std::abort();
        mPath = pattern;
        for (int i = 1; i <= inCount; ++i)
        {
            const int file = open((mPath + "/" + Name(i)).c_str(), O_WRONLY | O_CREAT, 0600);
            if (file < 0)
                std::abort();
            close(file);
        }
    }
    ~NumberedFiles()
    {
        std::error_code ignored;
        std::filesystem::remove_all(mPath, ignored);
    }
    static std::string Name(int inNumber)
    {
        char name[32];
        std::snprintf(name, sizeof name, "shot_%06d.dpx", inNumber);
        return name;
    }
    const std::string& Path() const { return mPath; }
    qelcore::UTF16String Example() const
    {
        return qelcore::utility::FileNameToUTF16(mPath + "/" + Name(1));
    }

private:
    std::string mPath;
};

const NumberedFiles& Files(benchmark::State& ioState)
{
    static std::map<int, std::unique_ptr<NumberedFiles>> sFolders;
    const int count = static_cast<int>(ioState.range(0));
    std::unique_ptr<NumberedFiles>& folder = sFolders[count];
    if (!folder)
        folder = std::make_unique<NumberedFiles>(count);
    return *folder;
}

void Recognise(benchmark::State& ioState)
{
    const qelcore::UTF16String example = Files(ioState).Example();
    for (auto unused : ioState)
    {
        const RK::StillSequencePtr sequence = RK::CreateStillSequenceFromExampleFile(example);
        if (sequence->GetNumberOfFrames() != ioState.range(0))
            ioState.SkipWithError("not all files were recognised");
    }
    ioState.SetItemsProcessed(ioState.iterations() * ioState.range(0));
}

void BareWalk(benchmark::State& ioState)
{
    const std::string path = Files(ioState).Path();
    for (auto unused : ioState)
    {
        DIR* const folder = opendir(path.c_str());
        std::size_t bytes = 0;
        while (const dirent* entry = readdir(folder))
            bytes += static_cast<unsigned char>(entry->d_name[0]);
        closedir(folder);
        benchmark::DoNotOptimize(bytes);
    }
    ioState.SetItemsProcessed(ioState.iterations() * ioState.range(0));
}

void ModificationState(benchmark::State& ioState)
{
    const RK::StillSequencePtr sequence =
        RK::CreateStillSequenceFromExampleFile(Files(ioState).Example());
    for (auto unused : ioState)
        benchmark::DoNotOptimize(sequence->GetModificationState({}));
    ioState.SetItemsProcessed(ioState.iterations() * ioState.range(0));
}

void WalkWithALookAtEachFile(benchmark::State& ioState)
{
    const std::string path = Files(ioState).Path();
    for (auto unused : ioState)
    {
        DIR* const folder = opendir(path.c_str());
        std::int64_t times = 0;
        while (const dirent* entry = readdir(folder))
        {
            struct stat status;
            if (fstatat(dirfd(folder), entry->d_name, &status, 0) == 0)
                times += status.st_mtim.tv_nsec;
        }
        closedir(folder);
        benchmark::DoNotOptimize(times);
    }
    ioState.SetItemsProcessed(ioState.iterations() * ioState.range(0));
}

void CountClassic(benchmark::State& ioState)
{
    const qelcore::filesupport::Dir folder(
        qelcore::utility::FileNameToUTF16(Files(ioState).Path()));
    for (auto unused : ioState)
    {
        const RK::StillSequence sequence(folder, u"shot_000001.dpx");
        if (sequence.GetNumberOfFrames() != ioState.range(0))
            ioState.SkipWithError("not all files were counted");
    }
    ioState.SetItemsProcessed(ioState.iterations() * ioState.range(0));
}

void LookAtEachName(benchmark::State& ioState)
{
    const std::string path = Files(ioState).Path() + "/";
    for (auto unused : ioState)
    {
        int number = 1;
        while (access((path + NumberedFiles::Name(number)).c_str(), F_OK) == 0)
            ++number;
        benchmark::DoNotOptimize(number);
    }
    ioState.SetItemsProcessed(ioState.iterations() * ioState.range(0));
}

BENCHMARK(Recognise)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BareWalk)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(ModificationState)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(WalkWithALookAtEachFile)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(CountClassic)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(LookAtEachName)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

} // namespace
