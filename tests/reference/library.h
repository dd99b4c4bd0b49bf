// SPDX-License-Identifier: Apache-2.0
// The built library under the operations of a sequence, in this process or in several.
#ifndef ZEB_TESTS_REFERENCE_LIBRARY_H
#define ZEB_TESTS_REFERENCE_LIBRARY_H

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/reference/operation.h"
#include "tests/support/plugin.h"
#include "tests/support/processes.h"

namespace reference {

using support::Bytes;

// What runs the operations of a host.
class Library {
 public:
  Library() = default;
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  virtual ~Library() = default;
  virtual std::vector<std::uint32_t> processes() const = 0;
  virtual void apply(const Operation& operation) = 0;
  // How often the library said so far that a maximum was reached; throws when it said anything
  // else.
  virtual int maximaReached() = 0;
};

class OneProcess : public Library {
 public:
  OneProcess();
  std::vector<std::uint32_t> processes() const override;
  void apply(const Operation& operation) override;
  int maximaReached() override;
  // A deployment that is interrupted half done, at the place where the model is too.
  void deploy(const Operation& operation, const std::function<void()>& meanwhile);

 private:
  void create(const Operation& operation);
  void send(const Operation& operation);
  std::map<int, std::unique_ptr<support::NodeContext>> contexts_;
  std::int64_t takes_ = 0;
};

class SeveralProcesses : public Library {
 public:
  explicit SeveralProcesses(int count);
  ~SeveralProcesses() override;
  std::vector<std::uint32_t> processes() const override;
  void apply(const Operation& operation) override;
  int maximaReached() override;

 private:
  std::vector<std::unique_ptr<support::Child>> children_;
};

// The statistics area of the broker with this label, attached only as long as this lives: the
// segment is removed by the library only when nobody else is attached.
class StoredArea {
 public:
  explicit StoredArea(const std::string& broker);
  ~StoredArea();
  StoredArea(const StoredArea&) = delete;
  StoredArea& operator=(const StoredArea&) = delete;

  // Null without a segment.
  std::uint8_t* bytes() const { return area_; }
  Bytes copy() const;

 private:
  std::uint8_t* segment_ = nullptr;
  std::uint8_t* area_ = nullptr;
  std::size_t most_ = 0;  // bytes that the area can have
};

// Does what a stranger does, to the stored bytes.
void disturb(const Operation& operation);

}  // namespace reference

#endif  // ZEB_TESTS_REFERENCE_LIBRARY_H
