#include <map>
#include <mutex>
#include <thread>

#include <sqlite3.h>

#include "PooledSubject.h"

namespace Bench
{
namespace
{

using Statement = std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)>;

// One thread's way to the database. Write-ahead log, synchronous=NORMAL: after a crash of the machine each
// item is whole or not there, and the latest may be lost. Pages of 16 KiB, since blobs are the matter.
class Connection
{
public:
    explicit Connection(const std::string& inPath)
    {
        Insist(sqlite3_open(inPath.c_str(), &mDatabase) == SQLITE_OK, "open");
        sqlite3_busy_timeout(mDatabase, 60000);
        Run("PRAGMA page_size=16384");
        Run("PRAGMA journal_mode=WAL");
        Run("PRAGMA synchronous=NORMAL");
        Run("CREATE TABLE IF NOT EXISTS items(name TEXT PRIMARY KEY, bytes BLOB)");
        mPut = Prepare("INSERT OR IGNORE INTO items VALUES(?,?)");
        mGet = Prepare("SELECT bytes FROM items WHERE name=?");
    }
    ~Connection()
    {
        mPut.reset();
        mGet.reset();
        sqlite3_close(mDatabase);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void Put(const std::string& inName, const Item& inItem) const
    {
        sqlite3_bind_text(mPut.get(), 1, inName.data(), static_cast<int>(inName.size()),
                          SQLITE_STATIC);
        sqlite3_bind_blob64(mPut.get(), 2, inItem.bytes, inItem.size, SQLITE_STATIC);
        Insist(sqlite3_step(mPut.get()) == SQLITE_DONE, "SQLite put");
        sqlite3_reset(mPut.get());
    }
    template <class Take>
    void Get(const std::string& inName, const Take& inTake) const
    {
        sqlite3_bind_text(mGet.get(), 1, inName.data(), static_cast<int>(inName.size()),
                          SQLITE_STATIC);
        Insist(sqlite3_step(mGet.get()) == SQLITE_ROW, "SQLite get");
        const void* const bytes = sqlite3_column_blob(mGet.get(), 0);
        inTake(bytes, static_cast<std::size_t>(sqlite3_column_bytes(mGet.get(), 0)));
        sqlite3_reset(mGet.get());
    }

private:
    void Run(const char* inText)
    {
        Insist(sqlite3_exec(mDatabase, inText, nullptr, nullptr, nullptr) == SQLITE_OK, inText);
    }
    Statement Prepare(const char* inText)
    {
        sqlite3_stmt* statement = nullptr;
        Insist(sqlite3_prepare_v2(mDatabase, inText, -1, &statement, nullptr) == SQLITE_OK, inText);
        return {statement, &sqlite3_finalize};
    }

    sqlite3* mDatabase = nullptr;
    Statement mPut{nullptr, &sqlite3_finalize};
    Statement mGet{nullptr, &sqlite3_finalize};
};

class SQLiteSubject final : public PooledSubject
{
public:
    explicit SQLiteSubject(const std::string& inFolder)
        : mPath(inFolder + "/items.db")
    {
    }
    void Reopen() override
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mConnections.clear();
    }

private:
    void PutNow(const Item& inItem) override { Mine().Put(NameOf(inItem), inItem); }
    void GetNow(const Item& inItem) override
    {
        Mine().Get(NameOf(inItem),
                   [&](const void* inBytes, std::size_t inSize)
                   {
                       const auto buffer = NewBuffer(inSize);
                       const char* const from = static_cast<const char*>(inBytes);
                       std::copy(from, from + inSize, buffer.get());
                       InsistOn(inItem, buffer.get(), inSize);
                   });
    }
    Connection& Mine()
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        std::unique_ptr<Connection>& mine = mConnections[std::this_thread::get_id()];
        if (mine == nullptr)
            mine = std::make_unique<Connection>(mPath);
        return *mine;
    }

    const std::string mPath;
    std::mutex mMutex;
    std::map<std::thread::id, std::unique_ptr<Connection>> mConnections;
};

} // namespace

SubjectPtr CreateSQLite(const std::string& inFolder)
{
    return std::make_unique<SQLiteSubject>(inFolder);
}

} // namespace Bench
