// SPDX-License-Identifier: Apache-2.0
// The built library, loaded as a host loads it, and the nodes that it serves.
#ifndef ZEB_BENCH_SUPPORT_LIBRARY_H
#define ZEB_BENCH_SUPPORT_LIBRARY_H

#include <cstdint>
#include <string>

#include "bench/support/lean_host.h"

namespace bench {

inline constexpr int kDescriptorBytes = 364;

// Stays loaded until the process ends. Throws when the file can't be loaded or defines no class.
class Library {
 public:
  explicit Library(const std::string& file);
  HostNodeFunctionTable& table() const { return *table_; }

 private:
  HostNodeFunctionTable* table_;
};

struct NodePlan {
  std::u16string label = u"NODE";
  std::u16string type = u"other";
  std::u16string eventMessage = {};
  std::u16string messageFlow = u"FLOW";
  std::u16string executionGroup = u"GROUP";
};

// "NODE12".
std::u16string numbered(std::u16string label, int number);

// A deployed node. The library keeps the address of what it was created with, so it doesn't move.
class Node {
 public:
  Node(const Library& library, const NodePlan& plan);
  ~Node();
  Node(const Node&) = delete;
  Node& operator=(const Node&) = delete;

  void send(HostMessage& message) const { evaluate_(context_, nullptr, nullptr, &message); }

 private:
  void set(const char16_t* name, const std::u16string& value);

  HostNodeFunctionTable& table_;
  HostEvaluate evaluate_;
  HostNode place_;
  void* context_;
};

// A message of 1,000 bytes that was put into its queue just now.
class Message {
 public:
  Message();
  Message(const Message&) = delete;
  Message& operator=(const Message&) = delete;

  HostMessage& handle() { return handle_; }
  const std::uint8_t* bits() const { return bits_; }

 private:
  std::uint8_t bits_[kDescriptorBytes] = {};
  HostMessage handle_{1000, bits_};
};

// What the statistics of the live node with this label count, as an agent reads it.
std::int64_t counted(const std::u16string& label);

// Throws unless the node has counted so many messages and nothing was logged: only then do the
// figures say what they claim to.
void requireCounted(const std::u16string& label, std::int64_t sent);

}  // namespace bench

#endif  // ZEB_BENCH_SUPPORT_LIBRARY_H
