#include "server/archive/sqlite_database.h"

#include <sqlite3.h>

namespace hq::server {

SqliteError::SqliteError(int code, const std::string& text) : std::runtime_error(text), code_(code & 0xff) {}

SqliteError SqliteError::Damage(const std::string& text) {
  return {SQLITE_CORRUPT, text};
}

bool SqliteError::Is_Damage() const {
  return code_ == SQLITE_CORRUPT || code_ == SQLITE_NOTADB;
}

bool SqliteError::Is_Busy() const {
  return code_ == SQLITE_BUSY || code_ == SQLITE_PROTOCOL;
}

SqliteDatabase::Query::Query(SqliteDatabase& database, sqlite3_stmt* statement)
    : database_(database), statement_(statement) {}

SqliteDatabase::Query::~Query() {
  sqlite3_reset(statement_);
  sqlite3_clear_bindings(statement_);
}

SqliteDatabase::Query& SqliteDatabase::Query::Bind(std::int64_t number) {
  database_.Require(sqlite3_bind_int64(statement_, ++bound_, number));
  return *this;
}

SqliteDatabase::Query& SqliteDatabase::Query::Bind(double number) {
  database_.Require(sqlite3_bind_double(statement_, ++bound_, number));
  return *this;
}

SqliteDatabase::Query& SqliteDatabase::Query::Bind(const std::string& text) {
  database_.Require(
      sqlite3_bind_text(statement_, ++bound_, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT));
  return *this;
}

bool SqliteDatabase::Query::Step() {
  const int code = sqlite3_step(statement_);
  if (code == SQLITE_ROW) return true;
  if (code != SQLITE_DONE) database_.Raise(code);
  return false;
}

void SqliteDatabase::Query::Run() {
  while (Step()) {
  }
}

void SqliteDatabase::Query::Again() {
  sqlite3_reset(statement_);
  bound_ = 0;
}

std::int64_t SqliteDatabase::Query::Integer(int column) const {
  return sqlite3_column_int64(statement_, column);
}

double SqliteDatabase::Query::Real(int column) const {
  return sqlite3_column_double(statement_, column);
}

std::string SqliteDatabase::Query::String(int column) const {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
  const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement_, column));
  return text == nullptr ? std::string{} : std::string(text, size);
}

SqliteDatabase::Change::Change(SqliteDatabase& database) : database_(database) {
  database_.Run("BEGIN IMMEDIATE");
}

SqliteDatabase::Change::~Change() {
  if (!done_) sqlite3_exec(database_.handle_, "ROLLBACK", nullptr, nullptr, nullptr);
}

void SqliteDatabase::Change::Commit() {
  database_.Run("COMMIT");
  done_ = true;
}

SqliteDatabase::SqliteDatabase(const std::filesystem::path& file) {
  const std::u8string name = file.empty() ? u8":memory:" : file.u8string();
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
  const int code = sqlite3_open_v2(reinterpret_cast<const char*>(name.c_str()), &handle_, flags, nullptr);
  if (code != SQLITE_OK) {
    const SqliteError error{code, handle_ != nullptr ? sqlite3_errmsg(handle_) : sqlite3_errstr(code)};
    sqlite3_close_v2(handle_);
    throw error;
  }
}

SqliteDatabase::~SqliteDatabase() {
  for (const auto& [sql, statement] : statements_) sqlite3_finalize(statement);
  sqlite3_close_v2(handle_);
}

void SqliteDatabase::Keep_Safe(std::chrono::milliseconds patience) {
  sqlite3_extended_result_codes(handle_, 1);
  sqlite3_busy_timeout(handle_, static_cast<int>(patience.count()));
  sqlite3_db_config(handle_, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_db_config(handle_, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  Run("PRAGMA journal_mode=WAL");
  Run("PRAGMA synchronous=NORMAL");
}

void SqliteDatabase::Abandon() {
  sqlite3_db_config(handle_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
}

void SqliteDatabase::Run(const char* sql) {
  Require(sqlite3_exec(handle_, sql, nullptr, nullptr, nullptr));
}

SqliteDatabase::Query SqliteDatabase::Use(const char* sql) {
  sqlite3_stmt*& statement = statements_[sql];
  if (statement == nullptr)
    Require(sqlite3_prepare_v3(handle_, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr));
  return Query{*this, statement};
}

std::int64_t SqliteDatabase::Number(const char* sql) {
  Query query = Use(sql);
  return query.Step() ? query.Integer(0) : 0;
}

bool SqliteDatabase::Has_Moved() const {
  int moved = 0;
  return sqlite3_file_control(handle_, "main", SQLITE_FCNTL_HAS_MOVED, &moved) == SQLITE_OK && moved != 0;
}

std::int64_t SqliteDatabase::Last_Id() const {
  return sqlite3_last_insert_rowid(handle_);
}

std::int64_t SqliteDatabase::Changed_Rows() const {
  return sqlite3_changes64(handle_);
}

void SqliteDatabase::Require(int code) const {
  if (code != SQLITE_OK) Raise(code);
}

void SqliteDatabase::Raise(int code) const {
  throw SqliteError(code, sqlite3_errmsg(handle_));
}

}  // namespace hq::server
