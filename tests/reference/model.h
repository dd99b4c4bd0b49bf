// SPDX-License-Identifier: Apache-2.0
// What the statistics area of a broker must hold, worked out in the plainest way there is.
//
// The area is a list of plain records. Each node instance has a tree of its own, made of copies of
// such records, and rebuilds it by walking all records of the area for every container. Nothing is
// shared, indexed or kept for later. Nothing here comes from the library's code either: where both
// hold the same bytes, they agree by two independent ways.
#ifndef ZEB_TESTS_REFERENCE_MODEL_H
#define ZEB_TESTS_REFERENCE_MODEL_H

#include <cstdint>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/reference/operation.h"
#include "tests/support/stored_bytes.h"

namespace reference {

using support::Bytes;

struct Stamp {
  std::uint32_t seconds = 0;
  std::uint32_t milliseconds = 0;
};

// The number takes the place of the random number of a stored ID; each ID gets the next one.
struct Id {
  std::uint32_t type = 0;
  Stamp created;
  std::uint32_t number = 0;
};
bool operator==(const Id& a, const Id& b);

struct Series {
  std::int64_t sum = 0;
  std::int32_t max = 0;
  std::int32_t min = 0;
};

struct Statistics {
  std::int64_t count = 0;
  Series size;
  Series elapsed;
  Series queued;
  std::uint32_t first = 0;  // calendar times
  std::uint32_t last = 0;
};

// A record of any of the five types; what a type lacks stays empty.
struct Record {
  std::uint32_t deleted = 0;
  Id id;
  Id parent;
  std::string uuid;
  std::string label;
  std::uint32_t number = 0;  // reset time of a broker, process of a group, type of a node
  std::string subFlowName;
  Statistics statistics;
  std::optional<std::size_t> place;  // which record of the area it was read from or written to

  std::uint32_t type() const { return id.type; }
};

// A stored field, in the order in which they come.
struct Field {
  std::string name;
  std::size_t width;
};
std::vector<Field> fieldsOf(const Record& record);
Bytes bytesOf(const Record& record);

struct Area {
  std::uint32_t size = 0;
  std::uint32_t next = 32;
  std::uint32_t last = 32;
  Stamp updated;
  std::vector<Record> records;
  int users = 0;  // node instances; without any, the area is gone
};
std::vector<Field> headerFields();
// All bytes of the area, its header first.
Bytes bytesOf(const Area& area);
// Where each record begins, and where the last one ends.
std::vector<std::size_t> offsetsOf(const Area& area);

struct Node {
  Record information;
  Record statistics;
};
struct Flow {
  Record information;
  std::list<Node> nodes;
};
struct Group {
  Record information;
  std::list<Flow> flows;
};

// A node instance with its tree.
struct Instance {
  int process = 0;
  std::string brokerLabel;
  std::string groupLabel;
  std::string flowLabel;
  Record broker;
  std::list<Group> groups;
  std::optional<NodePlan> plan;  // once deployed
  bool collects = true;          // statistics
  Node* node = nullptr;          // in the tree, as long as it is one of those that collect

  std::uint32_t nodeType() const;
};

class Model {
 public:
  // The size of every area, and the identifier of each process.
  Model(std::uint32_t areaSize, std::vector<std::uint32_t> processes);

  void apply(const Operation& operation);

  std::int64_t now() const { return now_; }                            // milliseconds since 1970
  const std::map<std::string, Area>& areas() const { return areas_; }  // by broker label
  const std::map<int, Instance>& instances() const { return instances_; }
  int maximaReached() const { return maximaReached_; }

 private:
  void create(const Operation& operation);
  void deploy(const Operation& operation);
  void send(const Operation& operation);
  void end(const Operation& operation);
  void disturb(const Operation& operation);
  void addTwin(Area& area, const Operation& operation);
  Id newId(std::uint32_t type);

  void joinTree(Instance& instance, const Operation& operation);
  Node* replaceNode(Instance& instance, Flow& flow, Node& old);
  void readArea(Instance& instance, bool keepEmpty);
  void findGroups(Instance& instance, const std::vector<Record>& records, bool keepEmpty);
  void findFlows(Group& group, const std::vector<Record>& records, bool keepEmpty);
  void findNodes(Flow& flow, const std::vector<Record>& records, bool keepEmpty);
  void findStatistics(Node& node, const std::vector<Record>& records);
  void resetAll(Instance& instance);
  void writeAll(Instance& instance);

  Group* insertGroup(Instance& instance, const Record& record);
  Flow* insertFlow(Group& group, const Record& record);
  Node* insertNode(Flow& flow, const Record& record);

  Record newRecord(std::uint32_t type, const std::string& label = {});
  Area& areaOf(const Instance& instance) { return areas_.at(instance.brokerLabel); }
  void put(Area& area, Record& record);
  static void get(const Area& area, Record& record);
  Stamp stampNow() const;

  const std::uint32_t areaSize_;
  const std::vector<std::uint32_t> processes_;
  std::map<std::string, Area> areas_;
  std::map<int, Instance> instances_;
  std::int64_t now_ = 0;
  std::uint32_t lastNumber_ = 0;
  int maximaReached_ = 0;
};

}  // namespace reference

#endif  // ZEB_TESTS_REFERENCE_MODEL_H
