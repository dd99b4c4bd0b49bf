// SPDX-License-Identifier: Apache-2.0
// One monitoring node in a deployed flow: the host's side of a node context.
#ifndef ZEB_HOST_RUN_NODE_H
#define ZEB_HOST_RUN_NODE_H

#include <cstddef>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "flowfile/file.h"
#include "host/run/message.h"
#include "host/run/plugin.h"
#include "host/run/text16.h"
#include "interface/host_interface.h"

// Where a node lives, as the host tells it: three labels.
struct HostNames {
  host::Text16 broker;
  host::Text16 executionGroup;
  host::Text16 messageFlow;
};

// A message tree: the plug-in only passes its address on.
struct HostTree {
  int unused = 0;
};

// A terminal of a node. Its address is what the plug-in holds, so it never moves.
struct HostTerminal {
  HostNode* node;
  host::Text16 name;
  bool output;
};

// What the plug-in gets as its node object.
struct HostNode {
  HostNames names;
  // Runs all of the flow behind this node; throws what a node there throws.
  std::function<void(HostMessage&)> downstream;
  // In the order in which the plug-in made them.
  std::deque<HostTerminal> terminals;
};

namespace host {

// Owns the context. Deployed and deleted by one thread; messages may pass on several at once.
class DeployedNode {
 public:
  // Creates the node's context, sets the attributes that the flow file gives, enumerates the names
  // and reads the values back. `downstream` is run for each message that the node propagates.
  // Throws std::runtime_error when there is no context. The plug-in's table and factory must stay
  // loaded; `node` is only read here.
  DeployedNode(const Plugin& plugin, const flowfile::MonitorNode& node, const HostNames& names,
               std::function<void(HostMessage&)> downstream);

  // Deletes the context; no message may be on its way.
  ~DeployedNode();
  DeployedNode(const DeployedNode&) = delete;
  DeployedNode& operator=(const DeployedNode&) = delete;

  // Hands a message to the node, and returns when it and all behind it are done. What a node behind
  // it threw comes out again, as a MessageFailure; one that the node didn't raise again is still
  // pending.
  void evaluate(HostMessage& message);

  // The names that the node enumerated when it was deployed, each with the value that it gave.
  // UTF-8.
  struct Attribute {
    std::string name;
    std::string value;
  };
  const std::vector<Attribute>& attributes() const { return attributes_; }

  // What was set but doesn't read back, in words, quoting the values as they are; empty when all of
  // it does.
  std::string difference(const flowfile::MonitorNode& node) const;

 private:
  void setAttributes(const flowfile::MonitorNode& node);
  void readAttributes();

  const HostNodeFunctionTable& table_;
  HostNode node_;
  HostTree first_;
  HostTree second_;
  void* context_;
  std::vector<Attribute> attributes_;
};

}  // namespace host

#endif  // ZEB_HOST_RUN_NODE_H
