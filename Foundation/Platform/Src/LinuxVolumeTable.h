#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "Platform/VolumeTable.h"

namespace Platform
{

// Volumes by the kernel's mount table, which can be read whatever state the volumes are in. Anything
// that looks at the volume itself may hang for ever when its server is away, so it runs on a thread of
// its own, which is left behind when it does not answer in time. The thread and one reading of the table
// are what a question costs: 60 us with 20 mounts.
class LinuxVolumeTable : public IVolumeTable
{
public:
    struct Options
    {
        std::string root;                         // stands before each path of the system
        std::chrono::milliseconds deadline{2000}; // how long a volume has to answer
        // How the volume itself is asked. @return 0 or an error's number.
        std::function<int(const std::string& inPath, std::uint64_t& outMountID)> mountIDOf;
        std::function<int(const std::string& inPath, VolumeSpace& outSpace)> spaceOf;
        std::function<int(const std::string& inPath, std::string& outLabel)> labelOf;
    };

    LinuxVolumeTable();
    explicit LinuxVolumeTable(const Options& inOptions);
    ~LinuxVolumeTable() override;

    int Mounts(std::vector<Mount>& outMounts) override;
    int MountOfPath(const std::string& inPath, Mount& outMount) override;
    int Space(const std::string& inPath, VolumeSpace& outSpace) override;
    int Label(const std::string& inMountPoint, std::string& outLabel) override;
    std::unique_ptr<IVolumeChanges> WatchChanges() override;

    static Options RealOptions();

private:
    class OverdueQuestions;

    template <class Answer>
    int AskInTime(const std::string& inPath, const std::vector<Mount>& inMounts,
                  const std::function<int(const std::string&, Answer&)>& inQuestion,
                  Answer& outAnswer);

    const Options mOptions;
    const std::shared_ptr<OverdueQuestions> mOverdue;
};

} // namespace Platform
