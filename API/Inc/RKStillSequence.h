#pragma once

#include <cstdint>
#include <vector>

#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>

#include "qelcore/Dir.h"
#include "qelcore/Export.h"
#include "qelcore/Guid.h"
#include "qelcore/Result.h"
#include "qelcore/UTFString.h"

namespace RK
{

/// How a still sequence is described.
enum StillSequenceType : std::int32_t
{
    kStillSequenceType_None = 0,     ///< no sequence: a single item or nothing
    kStillSequenceType_Classic = 1,  ///< found by incrementing the number in the first file's name
    kStillSequenceType_Numeric = 2,  ///< named prefix + number + suffix; numbers may be missing
    kStillSequenceType_Alpha = 3,    ///< a list of file names in one folder
    kStillSequenceType_PathList = 4, ///< a list of full paths, with a name of its own
};

class StillSequence;
using StillSequencePtr = boost::shared_ptr<StillSequence>;

// The class is handed out by shared pointer, which remembers how to destroy what it was made from; so it
// does without a virtual destructor.
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

// A set of image files that together act as one clip: how many frames it has, what the file of frame N
// is called, what it is shown as, and whether its files have changed. No image is opened. Frames count
// from 0.
//
// Threads  A value type: one thread at a time. What only reads may run on several.
// Disk     Only the classic constructor, CountClassicStillSequenceFrames() and GetModificationState()
//          look at the disk. Everything else is text, and nothing says that a file of that name exists.
// Errors   Those told at the functions, and std::bad_alloc.
class RK_API StillSequence
{
public:
    /// kStillSequenceType_None, all fields empty or zero.
    StillSequence();
    /// kStillSequenceType_Numeric. Nothing is verified.
    /// @param inWidth       digits to pad numbers to; only if inZeroPadded.
    StillSequence(const qelcore::filesupport::Dir& inFolder, const qelcore::UTF16String& inPrefix,
                  const qelcore::UTF16String& inSuffix, int inFirst, int inLast, int inWidth,
                  bool inZeroPadded);
    /// kStillSequenceType_Alpha. @param inFileNames  in frame order, relative to inFolder.
    StillSequence(const qelcore::filesupport::Dir& inFolder,
                  const std::vector<qelcore::UTF16String>& inFileNames);
    /// kStillSequenceType_Classic, if CountClassicStillSequenceFrames() finds 2 frames or more: a
    /// sequence of one file is none, and becomes kStillSequenceType_None.
    /// @throws std::out_of_range  as IsIncrementalFilePath(), if that file exists.
    StillSequence(const qelcore::filesupport::Dir& inFolder,
                  const qelcore::UTF16String& inFirstFileName);
    /// kStillSequenceType_PathList. @param inPaths  in frame order, used as they stand.
    StillSequence(const qelcore::filesupport::Dir& inFolder,
                  const std::vector<qelcore::UTF16String>& inPaths,
                  const qelcore::UTF16String& inDisplayName);

    static StillSequencePtr MakeDefaultStillSequencePtr();

    StillSequenceType GetStillSequenceType() const;
    void GetContainingFolder(qelcore::filesupport::Dir& outFolder) const;
    void SetContainingFolder(const qelcore::filesupport::Dir& inFolder);

    /// Copies the fields of a numeric sequence, whatever the type. @return 0.
    qelcore::Result GetNumericItems(qelcore::UTF16String& outPrefix,
                                    qelcore::UTF16String& outSuffix, int& outFirst, int& outLast,
                                    int& outWidth, bool& outZeroPadded) const;

    /// Classic: what was counted at construction. Numeric: the numbers from first to last, missing
    /// ones too (at most the greatest int). Alpha and path list: the size of the list. None: 1.
    virtual int GetNumberOfFrames() const;

    /// The path of frame inN. A negative inN is not limited, and beyond the end
    ///   numeric   gives the last frame,
    ///   classic   gives the name after the last frame, of a file that does not exist,
    ///   alpha and path list   may not be asked: keep inN from 0 to below GetNumberOfFrames().
    /// @param outPath  untouched for kStillSequenceType_None and an empty path list.
    /// @return 0.
    /// @throws std::out_of_range  if an alpha sequence or a path list is asked beyond its ends.
    virtual qelcore::Result GenerateNthFileName(int inN, qelcore::UTF16String& outPath) const;

    /// The name of frame inN of such a numeric sequence, without a folder. The number is never cut: one
    /// that is wider than inWidth stands at its own width. A minus stays inside the padding ("0-5").
    static void GenerateNthNumericFileName(int inN, const qelcore::UTF16String& inPrefix,
                                           const qelcore::UTF16String& inSuffix, int inFirst,
                                           int inWidth, bool inZeroPadded,
                                           qelcore::UTF16String& outName);

    /// Adds inN to the number that stands before the last dot of inPath; no digits there count as 0.
    /// The number keeps its width while it fits: "a009" and 1 make "a010", "a99" and 1 make "a100".
    /// A number that no 64 bits hold counts as 0, and a sum beyond them wraps.
    /// @param outPath  inPath if inN is 0; empty if the digits begin within the first two characters.
    ///                 May be inPath itself.
    /// @return true if outPath is the sum; false in those two cases.
    /// @throws std::out_of_range  if inPath has no dot at all, in a folder's name neither.
    bool IncrementClassicStillSequencePath(const qelcore::UTF16String& inPath,
                                           qelcore::UTF16String& outPath, int inN) const;

    /// Whether a digit stands before the last dot of inPath.
    /// @throws std::out_of_range  if inPath has no dot, or none behind its last backslash.
    static bool IsIncrementalFilePath(const qelcore::UTF16String& inPath);

    /// Counts the files from the first on until the first gap, at one look at the disk for each.
    /// @return 0 if the first one is not there; 1 if its name has no number before the last dot.
    int CountClassicStillSequenceFrames();

    /// The names or paths of an alpha sequence or a path list, whatever the type. @return 0.
    qelcore::Result GetAlphaFileList(std::vector<qelcore::UTF16String>& outList) const;

    /// What the sequence is to be shown as: "shot_[0001-0240].tif" for a numeric one, the first
    /// file's name for a classic one or none, the folder's for an alpha, its own for a path list.
    void GetDisplayName(qelcore::UTF16String& outName) const;
    void GetPrefix(qelcore::UTF16String& outPrefix) const;

    using RelatedPathFunction =
        boost::function<qelcore::UTF16String(const qelcore::UTF16String& inPath)>;

    /// A value that changes when a frame is touched, is deleted or appears. It covers the times of the
    /// files in the containing folder, and which frames are missing; neither sizes nor names. Costs
    /// a listing of the folder and a look at each frame.
    /// @param inToRelatedPath  may be empty; maps the path of the first frame that exists to that of
    ///                         another file whose time counts as well.
    /// @return zero for "unknown": no sequence, no file of it, or the folder could not be looked at,
    ///         which is traced (category "RK::StillSequence", level 0). Nothing raises.
    qelcore::utility::Guid GetModificationState(const RelatedPathFunction& inToRelatedPath) const;

private:
    friend RK_API StillSequencePtr
    CreateStillSequenceFromExampleFile(const qelcore::UTF16String& inPath);

    static void GeneratePaddedNumberString(long long inNumber, int inWidth, bool inZeroPadded,
                                           qelcore::UTF16String& outText);
    static bool ParseNumericFileName(const qelcore::UTF16String& inPath,
                                     qelcore::UTF16String& ioPrefix,
                                     qelcore::UTF16String& outSuffix,
                                     qelcore::UTF16String& outNumber);

    qelcore::UTF16String FolderWithSlash() const;
    qelcore::utility::Guid
    ComputeModificationState(const RelatedPathFunction& inToRelatedPath) const;

    qelcore::filesupport::Dir mContainingFolder;
    std::int32_t mType = kStillSequenceType_None;
    // Numeric.
    qelcore::UTF16String mPrefix;
    qelcore::UTF16String mSuffix;
    std::int32_t mFirstNumber = 0;
    std::int32_t mLastNumber = 0;
    std::int32_t mNumberWidth = 0;
    bool mZeroPadded = false;
    // Alpha and path list.
    std::vector<qelcore::UTF16String> mFileList;
    // Classic.
    qelcore::UTF16String mFirstFileName;
    std::int32_t mClassicFrameCount = 0;
    // Path list.
    qelcore::UTF16String mDisplayName;
};

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

/// Recognises the numeric sequence that a file belongs to by its neighbours in the folder. The last run
/// of digits in the name, extension aside, is the number; the text before it and the text behind it,
/// extension included, must be the same in every file, letter by letter. One file alone makes a
/// sequence of one frame. Numbers are padded if that of the file with the lowest number begins with 0.
///
/// Where text follows the digits the padding comes out too wide: its width is counted from the start of
/// the name, and is used only if numbers are padded. A number that no int holds counts as 0.
///
/// @param inPath  with its folder. The file itself need not exist.
/// @return null if the name has no digit.
/// @throws qelcore::filesupport::dir_exception  if the folder cannot be listed. One that is removed
///         meanwhile ends the listing, and what was seen until then counts.
RK_API StillSequencePtr CreateStillSequenceFromExampleFile(const qelcore::UTF16String& inPath);

} // namespace RK
