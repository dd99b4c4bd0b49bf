// SPDX-License-Identifier: Apache-2.0
// The host of a run. It answers the library's calls, checks each of them, and never trusts the
// library: whatever must not be becomes a complaint of the run.
#ifndef ZEB_TESTS_FAULTS_HOST_H
#define ZEB_TESTS_FAULTS_HOST_H

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "interface/host_interface.h"

namespace faults {

// A node instance in a deployed flow; its address is the HostNode handle.
struct HostedNode {
  explicit HostedNode(const char16_t* group) : executionGroup(group) {}
  HostNode* handle() { return reinterpret_cast<HostNode*>(this); }

  const char16_t* executionGroup;
  char in = 0;  // their addresses are the terminals
  char out = 0;
};

// A message on its way through a node; its address is the HostMessage handle.
class HostedMessage {
 public:
  HostedMessage(int number, bool failsDownstream);
  HostMessage* handle() { return reinterpret_cast<HostMessage*>(this); }
  HostTree* tree(std::size_t which) { return reinterpret_cast<HostTree*>(&trees_[which]); }
  bool unchanged() const { return bits_ == bitsOf(number_); }

  int number() const { return number_; }
  bool failsDownstream() const { return failsDownstream_; }
  int propagated = 0;
  bool serialised = false;  // not before the library asks for it
  const std::uint8_t* bits() const { return bits_.data(); }
  int size() const { return static_cast<int>(bits_.size()); }

 private:
  using Bits = std::array<std::uint8_t, 400>;
  static Bits bitsOf(int number);

  int number_;
  bool failsDownstream_;
  Bits bits_;
  std::array<char, 2> trees_{};
};

// What a downstream failure is in this host.
struct Downstream {
  int message;
};

// The class that the library defined; null before, and when the host refused it.
HostNodeFunctionTable* definedClass();

// Lets the library define its class. False when it ends without one.
bool load();

// One context of the library, with everything that the host does to it.
class Context {
 public:
  explicit Context(const char16_t* executionGroup);
  ~Context() { end(); }
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;

  using Attributes = std::vector<std::pair<const char16_t*, const char16_t*>>;
  void set(const Attributes& attributes);
  void readBack(const Attributes& attributes);
  void enumerate();
  // One that the library could not make gets no messages.
  void send(int number, bool failsDownstream = false);
  void end();

 private:
  HostedNode node_;
  void* context_ = nullptr;
};

}  // namespace faults

#endif  // ZEB_TESTS_FAULTS_HOST_H
