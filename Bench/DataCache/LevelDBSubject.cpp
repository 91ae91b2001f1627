#include <leveldb/cache.h>
#include <leveldb/db.h>

#include "PooledSubject.h"

namespace Bench
{
namespace
{

// As RocksDB: no compression, log without sync, next to no cache of its own. The write buffer is as large as
// RocksDB's.
class LevelDBSubject final : public PooledSubject
{
public:
    explicit LevelDBSubject(std::string inFolder)
        : mFolder(std::move(inFolder))
        , mCache(leveldb::NewLRUCache(1))
    {
        Open();
    }
    void Reopen() override
    {
        mDatabase.reset();
        Open();
    }

private:
    void Open()
    {
        leveldb::Options options;
        options.create_if_missing = true;
        options.compression = leveldb::kNoCompression;
        options.write_buffer_size = std::size_t{64} << 20;
        options.block_cache = mCache.get();
        leveldb::DB* database = nullptr;
        Insist(leveldb::DB::Open(options, mFolder, &database).ok(), "LevelDB open");
        mDatabase.reset(database);
    }
    void PutNow(const Item& inItem) override
    {
        const leveldb::Slice bytes(static_cast<const char*>(inItem.bytes), inItem.size);
        Insist(mDatabase->Put(leveldb::WriteOptions(), NameOf(inItem), bytes).ok(), "LevelDB put");
    }
    void GetNow(const Item& inItem) override
    {
        std::string bytes;
        Insist(mDatabase->Get(leveldb::ReadOptions(), NameOf(inItem), &bytes).ok(), "LevelDB get");
        InsistOn(inItem, bytes.data(), bytes.size());
    }

    const std::string mFolder;
    const std::unique_ptr<leveldb::Cache> mCache;
    std::unique_ptr<leveldb::DB> mDatabase;
};

} // namespace

SubjectPtr CreateLevelDB(const std::string& inFolder)
{
    return std::make_unique<LevelDBSubject>(inFolder);
}

} // namespace Bench
