#include <string>

#include <gtest/gtest.h>

#include <sys/mount.h>

#include "Support/ChildProcess.h"
#include "Support/TemporaryFolder.h"
#include "ZOR/File.h"
#include "qelcore/FileUtils.h"
#include "qelcore/TextConversion.h"

namespace
{

using namespace ZOR;

TEST(FullVolume, AWriteThatDoesNotFitIsToldApartWithWhatItPut)
{
    RK_NEEDS_MOUNTS();
    const Testing::TemporaryFolder folder;
    const int answer = Testing::RunInChild(
        [&]
        {
            if (!Testing::EnterPrivateMounts() ||
                mount("full", folder.Path().c_str(), "tmpfs", 0, "size=64k") != 0)
                return 98;
            const qelcore::UTF16String path = qelcore::utility::FileNameToUTF16(folder.Path("f"));
            const std::string bytes(100000, 'x');
            std::size_t put = 0;
            File file;
            if (file.Create(path, kFileAccess_Write, kFileShareMode_None, kFileCreate_New,
                            kFileAttributes_Normal, false) != qelcore::kResult_OK)
                return 1;
            if (file.Write(bytes.data(), bytes.size(), put) != kFileResult_NoSpace || put != 65536)
                return 2;
            if (qelcore::utility::FileUtils::GetVolumeFreeSpace(path) != 0)
                return 3;
            return file.Close() == qelcore::kResult_OK && File::Delete(path) == qelcore::kResult_OK
                       ? 0
                       : 4;
        });
    EXPECT_EQ(0, answer);
}

} // namespace
