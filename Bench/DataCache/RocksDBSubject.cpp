#include <rocksdb/db.h>
#include <rocksdb/table.h>

#include "PooledSubject.h"

namespace Bench
{
namespace
{

// No compression, since the bytes cannot be; no cache of its own, so that warm means the system's pages, as
// it does for files. Log without sync: after a crash each item is whole or not there. Values of 4 KiB and
// more in blob files, which is its way with large values.
class RocksDBSubject final : public PooledSubject
{
public:
    explicit RocksDBSubject(std::string inFolder)
        : mFolder(std::move(inFolder))
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
        rocksdb::BlockBasedTableOptions table;
        table.no_block_cache = true;
        rocksdb::Options options;
        options.create_if_missing = true;
        options.compression = rocksdb::kNoCompression;
        options.enable_blob_files = true;
        options.min_blob_size = 4096;
        options.table_factory.reset(rocksdb::NewBlockBasedTableFactory(table));
        rocksdb::DB* database = nullptr;
        Insist(rocksdb::DB::Open(options, mFolder, &database).ok(), "RocksDB open");
        mDatabase.reset(database);
    }
    void PutNow(const Item& inItem) override
    {
        const rocksdb::Slice bytes(static_cast<const char*>(inItem.bytes), inItem.size);
        Insist(mDatabase->Put(rocksdb::WriteOptions(), NameOf(inItem), bytes).ok(), "RocksDB put");
    }
    void GetNow(const Item& inItem) override
    {
        std::string bytes;
        Insist(mDatabase->Get(rocksdb::ReadOptions(), NameOf(inItem), &bytes).ok(), "RocksDB get");
        InsistOn(inItem, bytes.data(), bytes.size());
    }

    const std::string mFolder;
    std::unique_ptr<rocksdb::DB> mDatabase;
};

} // namespace

SubjectPtr CreateRocksDB(const std::string& inFolder)
{
    return std::make_unique<RocksDBSubject>(inFolder);
}

} // namespace Bench
