// SPDX-License-Identifier: Apache-2.0
// SQLite, as far as a history needs it. The only place that knows its functions.
#ifndef ZEB_AGENT_FRONT_HISTORY_DATABASE_H
#define ZEB_AGENT_FRONT_HISTORY_DATABASE_H

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace history {

// Thrown by all that is in here.
class Failure : public std::exception {
 public:
  enum class Kind {
    damaged,  // the file isn't what it was, or never was a database
    full,     // no room on the disk, or the file may not grow
    busy,     // others hold it
    other,
  };

  Failure(Kind kind, std::string text) : kind_(kind), text_(std::move(text)) {}
  Kind kind() const { return kind_; }
  const char* what() const noexcept override { return text_.c_str(); }  // any bytes

 private:
  Kind kind_;
  std::string text_;
};

using Bytes = std::span<const std::uint8_t>;
using Integer = std::optional<std::int64_t>;  // nothing is NULL

// A compiled statement. It must end before its database does.
class Statement {
 public:
  // Starts it again with these values in the order of its question marks.
  template <class... Values>
  Statement& with(const Values&... values) {
    reset();
    int place = 0;
    (bind(++place, values), ...);
    return *this;
  }

  bool step();  // true: there is a row
  void run();   // to its end, whatever rows there are

  template <class... Values>
  void run(const Values&... values) {
    with(values...).run();
  }

  int columns() const;

  // Of the row, from 0. Texts and bytes hold until the next step.
  std::int64_t integer(int column) const;  // 0 for NULL
  Integer number(int column) const;
  double real(int column) const;
  bool isNull(int column) const;
  std::string text(int column) const;
  std::optional<std::string> textOrNull(int column) const;
  Bytes bytes(int column) const;

  void reset();

 private:
  friend class Database;
  Statement(sqlite3* database, std::string_view sql);

  void bind(int place, std::int64_t value);
  void bind(int place, const Integer& value);
  void bind(int place, std::string_view value);
  void bind(int place, const std::string& value) { bind(place, std::string_view(value)); }
  void bind(int place, const char* value) { bind(place, std::string_view(value)); }
  void bind(int place, const std::optional<std::string>& value);
  void bind(int place, Bytes value);
  void bind(int place, int value) { bind(place, std::int64_t{value}); }
  void require(int result) const;

  struct Finish {
    void operator()(sqlite3_stmt* statement) const;
  };
  sqlite3* database_;
  std::unique_ptr<sqlite3_stmt, Finish> statement_;
};

// A connection to one file, for one thread at a time.
class Database {
 public:
  enum class Mode {
    write,      // makes the file when it isn't there
    read,       // makes and changes nothing
    immutable,  // likewise; nobody else may change the file meanwhile
  };

  Database(const std::string& path, Mode mode);

  Statement prepare(std::string_view sql) const { return {database_.get(), sql}; }
  void execute(const std::string& sql) const;  // one statement or more, without rows

  // The first value of the first row; nothing when there is none.
  Integer integerOf(std::string_view sql) const;

  std::int64_t lastInserted() const;
  std::int64_t changed() const;  // rows, by the last statement
  bool inTransaction() const;

  // How long it waits for others, in milliseconds. At first not at all.
  void setPatience(int ms) const;

  // Copies what waits in the write-ahead log into the file, as far as readers let. True when all
  // was, and the log begins again.
  bool checkpoint() const;

 private:
  struct Close {
    void operator()(sqlite3* database) const;
  };
  std::unique_ptr<sqlite3, Close> database_;
};

// All or nothing: what was done since its making is undone, unless it is committed.
class Transaction {
 public:
  enum class For { writing, reading };
  explicit Transaction(const Database& database, For purpose = For::writing);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  void commit();

 private:
  const Database& database_;
  bool open_ = true;
};

}  // namespace history

#endif  // ZEB_AGENT_FRONT_HISTORY_DATABASE_H
