#include "ImporterModule.h"

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>

#include <dlfcn.h>

#include "HostError.h"

namespace RKHost
{

namespace
{

constexpr const char* kFileName = "ImageImporter.so";

std::filesystem::path FindModule()
{
    namespace fs = std::filesystem;
    if (const char* named = std::getenv("RKHOST_IMPORTER"))
        return fs::absolute(named);
    std::error_code ignored;
    const fs::path here = fs::read_symlink("/proc/self/exe", ignored).parent_path();
    fs::path built = here / "Plugins" / kFileName;
    if (fs::exists(built, ignored))
        return built;
    return here / RKHOST_INSTALLED_PLUGINS / kFileName;
}

struct ReleaseImage
{
    const RKImageImporter* mTable;
    void operator()(RKImage* inImage) const { mTable->ReleaseImage(inImage); }
};

void Require(RKImageStatus inStatus, const RKImageError& inError)
{
    if (inStatus == kRKImageStatus_OK)
        return;
    throw std::runtime_error(inError.mText[0] != '\0' ? inError.mText
                                                      : "the image importer failed");
}

} // namespace

ImporterModule ImporterModule::Load()
{
    const std::filesystem::path path = FindModule();
    void* module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr)
        throw HostError(kExit_Failure, std::string("cannot load the image importer: ") + dlerror());
    const auto get =
        reinterpret_cast<RKGetImageImporterFunction>(dlsym(module, RK_IMAGE_IMPORTER_SYMBOL));
    const RKImageImporter* table = get != nullptr ? get(RK_IMAGE_IMPORTER_ABI) : nullptr;
    if (table == nullptr || table->mABI != RK_IMAGE_IMPORTER_ABI)
        throw HostError(kExit_Failure, path.string() + ": not an image importer of this version");
    return ImporterModule(table);
}

Frame ImporterModule::Decode(const void* inFile, std::size_t inSize) const
{
    RKImage* decoded = nullptr;
    Frame frame;
    RKImageError error = {};
    Require(mTable->DecodeImage(static_cast<const std::uint8_t*>(inFile), inSize, &decoded,
                                &frame.mInfo, &error),
            error);
    const std::unique_ptr<RKImage, ReleaseImage> image(decoded, ReleaseImage{mTable});
    const qelcore::utility::RecycledMemoryPtr pixels =
        qelcore::utility::RecycledMemory::Create(frame.mInfo.mByteCount);
    Require(mTable->CopyPixels(image.get(), pixels->Data(), pixels->Size(), &error), error);
    frame.mPixels = pixels;
    return frame;
}

Picture ImporterModule::Scale(const Frame& inFrame, std::uint32_t inWidth,
                              std::uint32_t inHeight) const
{
    Picture picture{inWidth, inHeight, {}};
    picture.mPixels.resize(std::size_t{inWidth} * inHeight * 4);
    RKImageError error = {};
    Require(mTable->ScaleToBGRA(&inFrame.mInfo, inFrame.mPixels->Data(), picture.mPixels.data(),
                                inWidth, inHeight, inWidth * 4, &error),
            error);
    return picture;
}

std::vector<std::uint8_t> ImporterModule::EncodePng(const Picture& inPicture) const
{
    RKImageBytes bytes = {};
    RKImageError error = {};
    Require(mTable->EncodePNG(inPicture.mPixels.data(), inPicture.mWidth, inPicture.mHeight,
                              inPicture.mWidth * 4, &bytes, &error),
            error);
    std::vector<std::uint8_t> copy(bytes.mData, bytes.mData + bytes.mSize);
    mTable->ReleaseBytes(&bytes);
    return copy;
}

} // namespace RKHost
