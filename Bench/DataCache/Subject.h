// What DataCacheBench measures: stores of items, each item a name and some bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Bench
{

/// Bytes that cannot be compressed, the same for each run, told apart by their first and last eight.
struct Item
{
    std::string key;
    std::string subKey;
    const void* bytes;
    std::size_t size;
};

// A store under measurement. Requests come from several threads at a time.
class ISubject
{
public:
    using Done = std::function<void()>;

    virtual ~ISubject() = default;
    /// Begins to put an item, and calls inDone once no more room is needed for the request.
    virtual void Put(const Item& inItem, const Done& inDone) = 0;
    /// Waits until all that was put is there.
    virtual void FinishPuts() {}
    /// Begins to get an item, and calls inDone with all of its bytes in a new buffer in memory. What
    /// cannot be got, or is something else, ends the program.
    virtual void Get(const Item& inItem, const Done& inDone) = 0;
    /// Empties what the store itself holds in memory. The files stay in the folder.
    virtual void Reopen() {}
};

using SubjectPtr = std::unique_ptr<ISubject>;

struct Kind
{
    const char* name;
    SubjectPtr (*create)(const std::string& inFolder);
};

/// Those that were built in: the data cache first, then the bare file system, then the others.
const std::vector<Kind>& Kinds();

SubjectPtr CreateStore(const std::string& inFolder);
SubjectPtr CreateUnsyncedStore(const std::string& inFolder); // puts do not wait for the disk
SubjectPtr CreateFiles(const std::string& inFolder);       // temp, write, rename; open, read, close
SubjectPtr CreateSyncedFiles(const std::string& inFolder); // the same, with the bytes synced
SubjectPtr CreateInlineFiles(const std::string& inFolder); // the first, by the caller's own thread
SubjectPtr CreateSQLite(const std::string& inFolder);
SubjectPtr CreateRocksDB(const std::string& inFolder);
SubjectPtr CreateLevelDB(const std::string& inFolder);
SubjectPtr CreateLMDB(const std::string& inFolder);

/// Ends the program unless inIsSo: a figure of something that does not work is none.
void Insist(bool inIsSo, const char* inText);
/// Ends the program unless these are the bytes of inItem, as far as the ends tell.
void InsistOn(const Item& inItem, const void* inBytes, std::size_t inSize);

} // namespace Bench
