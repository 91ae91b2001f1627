#pragma once

#include <utility>

#include <boost/shared_ptr.hpp>

#include "qelcore/Export.h"
#include "qelcore/RecycledMemory.h"
#include "qelcore/Result.h"
#include "qelcore/UTFString.h"

namespace RK
{

/// The text is none that EncodeBinaryDataToUTF8String gives.
constexpr qelcore::Result kBinaryDataResultInvalidText = static_cast<qelcore::Result>(0xA0320066u);

// A shared constant block of bytes. A null pointer, a null data pointer and the size 0 all make an empty
// block. A value: copies share the bytes.
class BinaryData
{
public:
    using Buffer = boost::shared_ptr<const qelcore::utility::RecycledMemory>;

    BinaryData() noexcept = default;
    explicit BinaryData(Buffer inBuffer) noexcept
        : mBuffer(std::move(inBuffer))
    {
    }
    const Buffer& GetBuffer() const noexcept { return mBuffer; }
    /// Exchanges the two pointers; touches neither bytes nor counts.
    void Swap(BinaryData& ioOther) noexcept { mBuffer.swap(ioOther.mBuffer); }

private:
    Buffer mBuffer;
};

/// Writes a block as text that can stand in a document: see qelcore/BinaryText.h.
/// @param outText  replaced on success; an empty block gives the empty text.
/// @return 0; kResult_GeneralFailure if the text would be too long, and then outText is as it was.
RK_API qelcore::Result EncodeBinaryDataToUTF8String(const BinaryData& inData,
                                                    qelcore::UTF8String& outText);
/// Reads a block back, into memory of its own.
/// @param outData  replaced on success, untouched otherwise. Empty text gives a null pointer.
/// @return 0 or kBinaryDataResultInvalidText.
RK_API qelcore::Result DecodeBinaryDataFromUTF8String(const qelcore::UTF8String& inText,
                                                      BinaryData& outData);

} // namespace RK
