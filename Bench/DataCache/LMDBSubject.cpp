#include <algorithm>

#include <lmdb.h>

#include "PooledSubject.h"

namespace Bench
{
namespace
{

// A mapped file. MDB_NOSYNC is as fast as it gets, and weaker than the others: a crash of the machine may
// leave a database that cannot be opened. Shown for honesty: a get of it needs no call of the system.
class LMDBSubject final : public PooledSubject
{
public:
    explicit LMDBSubject(std::string inFolder)
        : mFolder(std::move(inFolder))
    {
        Open();
    }
    ~LMDBSubject() override { mdb_env_close(mEnvironment); }
    void Reopen() override
    {
        mdb_env_close(mEnvironment);
        Open();
    }

private:
    void Open()
    {
        Insist(mdb_env_create(&mEnvironment) == 0, "LMDB");
        mdb_env_set_mapsize(mEnvironment, std::size_t{16} << 30);
        mdb_env_set_maxreaders(mEnvironment, 256);
        Insist(mdb_env_open(mEnvironment, mFolder.c_str(), MDB_NOSYNC | MDB_NOTLS, 0666) == 0,
               "LMDB open");
        MDB_txn* transaction = Begin(0);
        Insist(mdb_dbi_open(transaction, nullptr, MDB_CREATE, &mItems) == 0, "LMDB table");
        Insist(mdb_txn_commit(transaction) == 0, "LMDB commit");
    }
    MDB_txn* Begin(unsigned inFlags) const
    {
        MDB_txn* transaction = nullptr;
        Insist(mdb_txn_begin(mEnvironment, nullptr, inFlags, &transaction) == 0, "LMDB begin");
        return transaction;
    }
    static MDB_val ValueOf(const void* inBytes, std::size_t inSize)
    {
        return {inSize, const_cast<void*>(inBytes)};
    }
    void PutNow(const Item& inItem) override
    {
        const std::string name = NameOf(inItem);
        MDB_val key = ValueOf(name.data(), name.size());
        MDB_val value = ValueOf(inItem.bytes, inItem.size);
        MDB_txn* const transaction = Begin(0);
        Insist(mdb_put(transaction, mItems, &key, &value, MDB_NOOVERWRITE) == 0, "LMDB put");
        Insist(mdb_txn_commit(transaction) == 0, "LMDB commit");
    }
    void GetNow(const Item& inItem) override
    {
        const std::string name = NameOf(inItem);
        MDB_val key = ValueOf(name.data(), name.size());
        MDB_val value;
        MDB_txn* const transaction = Begin(MDB_RDONLY);
        Insist(mdb_get(transaction, mItems, &key, &value) == 0, "LMDB get");
        const auto buffer = NewBuffer(value.mv_size);
        const char* const from = static_cast<const char*>(value.mv_data);
        std::copy(from, from + value.mv_size, buffer.get());
        mdb_txn_abort(transaction);
        InsistOn(inItem, buffer.get(), value.mv_size);
    }

    const std::string mFolder;
    MDB_env* mEnvironment = nullptr;
    MDB_dbi mItems = 0;
};

} // namespace

SubjectPtr CreateLMDB(const std::string& inFolder)
{
    return std::make_unique<LMDBSubject>(inFolder);
}

} // namespace Bench
