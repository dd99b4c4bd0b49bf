// SPDX-License-Identifier: Apache-2.0
#include "agent/front/history/database.h"

#include <sqlite3.h>

#include <utility>

namespace history {
namespace {

Failure::Kind kindOf(int result) {
  switch (result & 0xFF) {
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      return Failure::Kind::damaged;
    case SQLITE_FULL:
      return Failure::Kind::full;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return Failure::Kind::busy;
    default:
      return Failure::Kind::other;
  }
}

[[noreturn]] void fail(sqlite3* database, int result) {
  const char* const text = database ? sqlite3_errmsg(database) : sqlite3_errstr(result);
  throw Failure(kindOf(result), text);
}

// As a name in a URI: what has a meaning there is written as its number.
std::string uriOf(const std::string& path, bool immutable) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string uri = "file:";
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte > ' ' && byte < 0x7F && c != '%' && c != '?' && c != '#') {
      uri += c;
    } else {
      uri += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
    }
  }
  return uri + (immutable ? "?immutable=1" : "");
}

}  // namespace

void Statement::Finish::operator()(sqlite3_stmt* statement) const {
  sqlite3_finalize(statement);
}

Statement::Statement(sqlite3* database, std::string_view sql) : database_(database) {
  sqlite3_stmt* statement = nullptr;
  require(sqlite3_prepare_v3(database, sql.data(), static_cast<int>(sql.size()),
                             SQLITE_PREPARE_PERSISTENT, &statement, nullptr));
  statement_.reset(statement);
}

void Statement::require(int result) const {
  if (result != SQLITE_OK) fail(database_, result);
}

void Statement::reset() {
  sqlite3_reset(statement_.get());
}

bool Statement::step() {
  const int result = sqlite3_step(statement_.get());
  if (result == SQLITE_ROW) return true;
  reset();
  if (result != SQLITE_DONE) fail(database_, result);
  return false;
}

void Statement::run() {
  while (step()) continue;
}

void Statement::bind(int place, std::int64_t value) {
  require(sqlite3_bind_int64(statement_.get(), place, value));
}

void Statement::bind(int place, const Integer& value) {
  if (value) return bind(place, *value);
  require(sqlite3_bind_null(statement_.get(), place));
}

void Statement::bind(int place, std::string_view value) {
  const char* const begin = value.empty() ? "" : value.data();
  require(sqlite3_bind_text64(statement_.get(), place, begin, value.size(), SQLITE_TRANSIENT,
                              SQLITE_UTF8));
}

void Statement::bind(int place, const std::optional<std::string>& value) {
  if (value) return bind(place, *value);
  require(sqlite3_bind_null(statement_.get(), place));
}

void Statement::bind(int place, Bytes value) {
  const void* const begin = value.empty() ? "" : static_cast<const void*>(value.data());
  require(sqlite3_bind_blob64(statement_.get(), place, begin, value.size(), SQLITE_TRANSIENT));
}

int Statement::columns() const {
  return sqlite3_column_count(statement_.get());
}

std::int64_t Statement::integer(int column) const {
  return sqlite3_column_int64(statement_.get(), column);
}

bool Statement::isNull(int column) const {
  return sqlite3_column_type(statement_.get(), column) == SQLITE_NULL;
}

Integer Statement::number(int column) const {
  if (isNull(column)) return {};
  return integer(column);
}

double Statement::real(int column) const {
  return sqlite3_column_double(statement_.get(), column);
}

std::string Statement::text(int column) const {
  const auto* const begin =
      reinterpret_cast<const char*>(sqlite3_column_text(statement_.get(), column));
  if (begin == nullptr) return {};
  return {begin, static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column))};
}

std::optional<std::string> Statement::textOrNull(int column) const {
  if (isNull(column)) return {};
  return text(column);
}

Bytes Statement::bytes(int column) const {
  const auto* const begin =
      static_cast<const std::uint8_t*>(sqlite3_column_blob(statement_.get(), column));
  return {begin, static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column))};
}

void Database::Close::operator()(sqlite3* database) const {
  sqlite3_close_v2(database);
}

Database::Database(const std::string& path, Mode mode) {
  const int flags =
      mode == Mode::write ? SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE : SQLITE_OPEN_READONLY;
  sqlite3* database = nullptr;
  const int result = sqlite3_open_v2(
      uriOf(path, mode == Mode::immutable).c_str(), &database,
      flags | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE, nullptr);
  database_.reset(database);
  if (result != SQLITE_OK) fail(database, result);
  sqlite3_db_config(database, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_db_config(database, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
}

void Database::execute(const std::string& sql) const {
  const int result = sqlite3_exec(database_.get(), sql.c_str(), nullptr, nullptr, nullptr);
  if (result != SQLITE_OK) fail(database_.get(), result);
}

Integer Database::integerOf(std::string_view sql) const {
  Statement statement = prepare(sql);
  if (!statement.step()) return {};
  return statement.number(0);
}

std::int64_t Database::lastInserted() const {
  return sqlite3_last_insert_rowid(database_.get());
}

std::int64_t Database::changed() const {
  return sqlite3_changes64(database_.get());
}

bool Database::inTransaction() const {
  return sqlite3_get_autocommit(database_.get()) == 0;
}

void Database::setPatience(int ms) const {
  sqlite3_busy_timeout(database_.get(), ms);
}

bool Database::checkpoint() const {
  const int result = sqlite3_wal_checkpoint_v2(database_.get(), nullptr, SQLITE_CHECKPOINT_TRUNCATE,
                                               nullptr, nullptr);
  if ((result & 0xFF) == SQLITE_BUSY) return false;
  if (result != SQLITE_OK) fail(database_.get(), result);
  return true;
}

Transaction::Transaction(const Database& database, For purpose) : database_(database) {
  database_.execute(purpose == For::writing ? "BEGIN IMMEDIATE" : "BEGIN");
}

Transaction::~Transaction() {
  if (!open_ || !database_.inTransaction()) return;
  try {
    database_.execute("ROLLBACK");
  } catch (const Failure&) {
    // What can't be undone now is undone when the file is opened again.
  }
}

void Transaction::commit() {
  database_.execute("COMMIT");
  open_ = false;
}

}  // namespace history
