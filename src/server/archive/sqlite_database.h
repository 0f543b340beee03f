#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace hq::server {

// A failure of the database.
class SqliteError : public std::runtime_error {
 public:
  // With the library's number for it.
  SqliteError(int code, const std::string& text);
  // What is in the file can't be right.
  [[nodiscard]] static SqliteError Damage(const std::string& text);

  // Whether the file is damaged, or no database at all.
  [[nodiscard]] bool Is_Damage() const;
  // Whether another connection is at the file, and will let it go.
  [[nodiscard]] bool Is_Busy() const;

 private:
  const int code_;
};

// One connection to a database file, with the statements that were used on it. Used by one thread at a time.
// All of it raises SqliteError.
class SqliteDatabase {
 public:
  // One use of a statement; the statement can be used again when it goes.
  class Query {
   public:
    Query(SqliteDatabase& database, sqlite3_stmt* statement);
    Query(const Query&) = delete;
    Query& operator=(const Query&) = delete;
    ~Query();

    // Gives the next parameter its value.
    Query& Bind(std::int64_t number);
    Query& Bind(double number);
    Query& Bind(const std::string& text);

    // Whether there is a further row.
    bool Step();
    // Goes through all rows.
    void Run();
    // Makes it ready to be bound and run again.
    void Again();

    // What is in a column, counted from 0, of the row at hand.
    [[nodiscard]] std::int64_t Integer(int column) const;
    [[nodiscard]] double Real(int column) const;
    [[nodiscard]] std::string String(int column) const;

   private:
    SqliteDatabase& database_;
    sqlite3_stmt* statement_;
    int bound_ = 0;
  };

  // A change that happens whole or, unless it is committed, not at all.
  class Change {
   public:
    explicit Change(SqliteDatabase& database);
    Change(const Change&) = delete;
    Change& operator=(const Change&) = delete;
    ~Change();
    void Commit();

   private:
    SqliteDatabase& database_;
    bool done_ = false;
  };

  // Opens or makes the file. An empty path makes a database in the memory.
  explicit SqliteDatabase(const std::filesystem::path& file);
  SqliteDatabase(const SqliteDatabase&) = delete;
  SqliteDatabase& operator=(const SqliteDatabase&) = delete;
  ~SqliteDatabase();

  // Makes what is committed outlive the program's end (a power cut can take the last changes back, but not
  // damage the file), calls wait this long for another process, and what is in the file can't make the
  // library do anything but read tables.
  void Keep_Safe(std::chrono::milliseconds patience);

  // Makes the end of the connection leave all files alone. It would take away what lies beside a file of this
  // name, which may be another one's by then.
  void Abandon();

  void Run(const char* sql);

  // `sql` must be a literal: its address is what the statement is found by.
  Query Use(const char* sql);

  // The first column of the first row; 0 without a row.
  std::int64_t Number(const char* sql);

  // Whether the file was taken away or replaced since it was opened.
  [[nodiscard]] bool Has_Moved() const;

  [[nodiscard]] std::int64_t Last_Id() const;
  [[nodiscard]] std::int64_t Changed_Rows() const;

 private:
  void Require(int code) const;
  [[noreturn]] void Raise(int code) const;

  sqlite3* handle_ = nullptr;
  std::map<const char*, sqlite3_stmt*> statements_;
};

}  // namespace hq::server
