// SPDX-License-Identifier: Apache-2.0
#include "tests/reference/model.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace reference {
namespace {

using support::kBroker;
using support::kFlow;
using support::kGroup;
using support::kNode;
using support::kStatistics;

constexpr std::uint32_t kAreaHeader = 32;  // bytes of an area's header
constexpr std::int64_t kMostMessages = 2147483647;
constexpr std::uint32_t kOther = 3;  // the type of a node that was given none

bool alike(const Record& record, const std::string& uuid, const std::string& label) {
  return record.uuid == uuid && record.label == label;
}

// --- stored bytes ---

class Image {
 public:
  void characters(const std::string& text, std::size_t width) {
    std::string padded = text;
    padded.resize(width);
    bytes_.insert(bytes_.end(), padded.begin(), padded.end());
  }
  void number(std::uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8)
      bytes_.push_back(static_cast<unsigned char>(value >> shift));
  }
  void number(std::int32_t value) { number(static_cast<std::uint32_t>(value)); }
  void decimal(std::int64_t value) { characters(value > 0 ? std::to_string(value) : "", 24); }
  void string(const std::string& text) {
    number(static_cast<std::uint32_t>(text.size()));
    for (const char unit : text) characters(std::string(1, unit), 2);
    characters("", 2);
  }
  void id(const Id& id) {
    number(id.type);
    number(id.created.seconds);
    number(id.created.milliseconds);
    number(id.number);
  }
  void series(const Series& series) {
    decimal(series.sum);
    number(series.max);
    number(series.min);
  }
  void append(const Bytes& bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); }
  Bytes bytes() const { return bytes_; }

 private:
  Bytes bytes_;
};

// What is left of a record once it was stored: a sum that wrapped below zero has no text.
Record asStored(Record record) {
  Statistics& statistics = record.statistics;
  for (std::int64_t* sum :
       {&statistics.count, &statistics.size.sum, &statistics.elapsed.sum, &statistics.queued.sum})
    *sum = std::max<std::int64_t>(*sum, 0);
  record.place.reset();
  return record;
}

void addIdFields(std::vector<Field>& fields, const std::string& of) {
  for (const char* part : {"type", "seconds", "milliseconds", "random number"})
    fields.push_back({of + " ID: " + part, 4});
}

void addString(std::vector<Field>& fields, const std::string& name, const std::string& text) {
  fields.push_back({name, 2 * text.size() + 6});
}

void addStatistics(std::vector<Field>& fields) {
  fields.push_back({"message count", 24});
  for (const char* series : {"size", "elapsed time", "queued time"}) {
    fields.push_back({std::string("sum of ") + series, 24});
    fields.push_back({std::string("largest ") + series, 4});
    fields.push_back({std::string("smallest ") + series, 4});
  }
  fields.push_back({"first collection", 4});
  fields.push_back({"last collection", 4});
}

// --- time ---

std::uint32_t calendar(Stamp stamp) {
  return stamp.seconds + support::kCalendarOffset;
}

// Zero for a clock that went backwards.
Stamp difference(Stamp from, Stamp to) {
  if (to.seconds < from.seconds) return {};
  if (to.milliseconds >= from.milliseconds)
    return {to.seconds - from.seconds, to.milliseconds - from.milliseconds};
  if (to.seconds > from.seconds)
    return {to.seconds - from.seconds - 1, to.milliseconds + 1000 - from.milliseconds};
  return {};
}

Stamp stampOf(std::int64_t milliseconds) {
  return {static_cast<std::uint32_t>(milliseconds / 1000),
          static_cast<std::uint32_t>(milliseconds % 1000)};
}

std::int32_t millisecondsOf(Stamp duration) {
  const std::uint32_t all = duration.seconds * 1000 + duration.milliseconds;
  return static_cast<std::int32_t>(all > 2147483647 ? 2147483647 : all);
}

// --- statistics ---

void add(Series& series, std::int32_t value, bool first) {
  series.sum += value;
  series.max = first ? value : std::max(series.max, value);
  series.min = first ? value : std::min(series.min, value);
}

// False at the maximum, where nothing is counted.
bool count(Statistics& statistics, Stamp queued, Stamp elapsed, std::int32_t size, Stamp now) {
  if (statistics.count >= kMostMessages) return false;
  const bool first = statistics.first == 0;
  ++statistics.count;
  add(statistics.size, size, first);
  add(statistics.elapsed, millisecondsOf(elapsed), first);
  add(statistics.queued, millisecondsOf(queued), first);
  if (first) statistics.first = calendar(now);
  statistics.last = calendar(now);
  return true;
}

// Assigns what a node's statistics are made of: the header, the place, and the numbers unless they
// are those of a record without a first message.
void assign(Record& to, const Record& from) {
  to = from;
  if (to.statistics.first == 0) to.statistics = {};
}

// --- plans ---

std::uint32_t typeOf(const NodePlan& plan) {
  if (plan.type == "input") return 1;
  if (plan.type == "output") return 2;
  if (plan.type == "subFlowInput") return 4;
  if (plan.type == "subFlowOutput") return 5;
  return kOther;
}

bool collectsStatistics(const NodePlan& plan) {
  const bool inputOrOutput = typeOf(plan) == 1 || typeOf(plan) == 2;
  if (plan.activateNode == "no" || plan.activateNode == "eventOnly") return false;
  if (plan.activateNode == "inputOutputOnly") return inputOrOutput;
  if (plan.activateNode == "inputOutputAndEventOnly")
    return inputOrOutput || !plan.eventMessage.empty();
  return true;
}

template <class Resource>
Resource* find(std::list<Resource>& resources, const std::string& uuid, const std::string& label) {
  for (Resource& resource : resources)
    if (alike(resource.information, uuid, label)) return &resource;
  return nullptr;
}

template <class Resource>
void remove(std::list<Resource>& resources, const Resource* gone) {
  resources.remove_if([gone](const Resource& resource) { return &resource == gone; });
}

}  // namespace

bool operator==(const Id& a, const Id& b) {
  return a.type == b.type && a.created.seconds == b.created.seconds &&
         a.created.milliseconds == b.created.milliseconds && a.number == b.number;
}

std::vector<Field> fieldsOf(const Record& record) {
  std::vector<Field> fields{{"eyecatcher", 4}, {"deleted flag", 4}};
  addIdFields(fields, "record");
  addIdFields(fields, "parent");
  if (record.type() == kStatistics) {
    addStatistics(fields);
    return fields;
  }
  addString(fields, "uuid", record.uuid);
  addString(fields, "label", record.label);
  if (record.type() == kBroker) fields.push_back({"reset time", 4});
  if (record.type() == kGroup) fields.push_back({"process", 4});
  if (record.type() == kNode) {
    fields.push_back({"node type", 4});
    addString(fields, "sub-flow name", record.subFlowName);
  }
  return fields;
}

Bytes bytesOf(const Record& record) {
  Image image;
  image.characters("RCRD", 4);
  image.number(record.deleted);
  image.id(record.id);
  image.id(record.parent);
  if (record.type() == kStatistics) {
    image.decimal(record.statistics.count);
    image.series(record.statistics.size);
    image.series(record.statistics.elapsed);
    image.series(record.statistics.queued);
    image.number(record.statistics.first);
    image.number(record.statistics.last);
    return image.bytes();
  }
  image.string(record.uuid);
  image.string(record.label);
  if (record.type() != kFlow) image.number(record.number);
  if (record.type() == kNode) image.string(record.subFlowName);
  return image.bytes();
}

std::vector<Field> headerFields() {
  return {{"eyecatcher", 8},
          {"header mark", 4},
          {"size", 4},
          {"next offset", 4},
          {"last offset", 4},
          {"last update: seconds", 4},
          {"last update: milliseconds", 4}};
}

Bytes bytesOf(const Area& area) {
  Image image;
  image.characters("zebcstar", 8);
  for (const std::uint32_t value :
       {1U, area.size, area.next, area.last, area.updated.seconds, area.updated.milliseconds})
    image.number(value);
  for (const Record& record : area.records) image.append(bytesOf(record));
  Bytes bytes = image.bytes();
  bytes.resize(area.size);
  return bytes;
}

std::vector<std::size_t> offsetsOf(const Area& area) {
  std::vector<std::size_t> offsets{kAreaHeader};
  for (const Record& record : area.records)
    offsets.push_back(offsets.back() + bytesOf(record).size());
  return offsets;
}

// The type of the node in the tree, which another instance's record may have changed.
std::uint32_t Instance::nodeType() const {
  if (node != nullptr) return node->information.number;
  return plan ? typeOf(*plan) : kOther;
}

Model::Model(std::uint32_t areaSize, std::vector<std::uint32_t> processes)
    : areaSize_(areaSize), processes_(std::move(processes)) {}

void Model::apply(const Operation& operation) {
  now_ = operation.now;
  if (operation.kind == Kind::create)
    create(operation);
  else if (operation.kind == Kind::deploy)
    deploy(operation);
  else if (operation.kind == Kind::send)
    send(operation);
  else if (operation.kind == Kind::end)
    end(operation);
  else
    disturb(operation);
}

Stamp Model::stampNow() const {
  return stampOf(now_);
}

Record Model::newRecord(std::uint32_t type, const std::string& label) {
  Record record;
  record.id = newId(type);
  record.label = label;
  return record;
}

Id Model::newId(std::uint32_t type) {
  return {type, stampNow(), ++lastNumber_};
}

// --- the area ---

// Rewrites a record that has a place, and appends one that has none, if there is room.
void Model::put(Area& area, Record& record) {
  if (record.place) {
    area.records.at(*record.place) = asStored(record);
    return;
  }
  const std::size_t size = bytesOf(record).size();
  if (area.next + size <= area.size) {
    area.records.push_back(asStored(record));
    record.place = area.records.size() - 1;
    area.next += static_cast<std::uint32_t>(size);
    area.last = std::max(area.last, area.next);
  }
  area.updated = stampNow();
}

void Model::get(const Area& area, Record& record) {
  if (!record.place) return;
  const std::size_t place = *record.place;
  record = area.records.at(place);
  record.place = place;
}

// --- what the host does ---

void Model::create(const Operation& operation) {
  Area& area = areas_[operation.broker];
  if (area.users++ == 0) {
    area.size = areaSize_;
    area.updated = stampNow();
  }
  Instance& instance = instances_[operation.instance];
  instance.process = operation.process;
  instance.brokerLabel = operation.broker;
  instance.groupLabel = operation.group;
  instance.flowLabel = operation.flow;
  instance.broker = newRecord(kBroker, operation.broker);
  instance.broker.uuid = uuidOf(operation.broker);
}

void Model::deploy(const Operation& operation) {
  Instance& instance = instances_.at(operation.instance);
  instance.plan = operation.plan;
  instance.collects = collectsStatistics(operation.plan);
  if (instance.collects) joinTree(instance, operation);
}

void Model::joinTree(Instance& instance, const Operation& operation) {
  readArea(instance, true);
  Group* group = find(instance.groups, "", instance.groupLabel);
  if (group == nullptr) group = insertGroup(instance, newRecord(kGroup, instance.groupLabel));
  group->information.number = processes_.at(static_cast<std::size_t>(instance.process));
  for (const Operation& other : operation.meanwhile) apply(other);
  Flow* flow = find(group->flows, "", instance.flowLabel);
  if (flow == nullptr) flow = insertFlow(*group, newRecord(kFlow, instance.flowLabel));

  const NodePlan& plan = operation.plan;
  Node* node = find(flow->nodes, "", plan.label);
  if (node == nullptr)
    node = insertNode(*flow, newRecord(kNode, plan.label));
  else if (node->information.subFlowName.size() == plan.subFlowName.size())
    node->information.deleted = 0;
  else
    node = replaceNode(instance, *flow, *node);
  node->information.number = typeOf(plan);
  node->information.subFlowName = plan.subFlowName;
  instance.node = node;
  resetAll(instance);
}

// The old node is detached and marked; the new one inherits its statistics record.
Node* Model::replaceNode(Instance& instance, Flow& flow, Node& old) {
  const std::string label = old.information.label;
  const Record statistics = old.statistics;
  old.information.parent = {};
  old.information.deleted = 1;
  put(areaOf(instance), old.information);
  remove(flow.nodes, &old);
  Node* const node = insertNode(flow, newRecord(kNode, label));
  assign(node->statistics, statistics);
  node->statistics.parent = node->information.id;
  return node;
}

void Model::send(const Operation& operation) {
  Instance& instance = instances_.at(operation.instance);
  const bool queues = instance.nodeType() == 1;
  Stamp queued = queues ? difference(stampOf(operation.put), stampNow()) : Stamp{};
  if (instance.plan && instance.plan->collectQueueTime != "yes") queued = {};
  const Stamp begun = stampNow();
  now_ += operation.takes;
  if (instance.node == nullptr) return;
  const Stamp elapsed = difference(begun, stampNow());
  Record& record = instance.node->statistics;
  for (;;) {
    get(areaOf(instance), record);
    if (count(record.statistics, queued, elapsed, operation.size, stampNow())) break;
    ++maximaReached_;
    resetAll(instance);
  }
  put(areaOf(instance), record);
}

void Model::end(const Operation& operation) {
  Instance& instance = instances_.at(operation.instance);
  if (instance.node != nullptr) {
    instance.node->information.deleted = 1;
    put(areaOf(instance), instance.node->information);
  }
  if (--areaOf(instance).users == 0) areas_.erase(instance.brokerLabel);
  instances_.erase(operation.instance);
}

// --- a tree ---

void Model::readArea(Instance& instance, bool keepEmpty) {
  std::vector<Record> records = areaOf(instance).records;
  for (std::size_t i = 0; i < records.size(); ++i) records[i].place = i;
  for (const Record& record : records) {
    if (record.type() != kBroker) continue;
    instance.broker = record;
    break;
  }
  // The broker's record may be another process's, stored since this tree was begun: groups that
  // were never stored move below it.
  for (Group& group : instance.groups)
    if (!group.information.place) group.information.parent = instance.broker.id;
  findGroups(instance, records, keepEmpty);
}

void Model::findGroups(Instance& instance, const std::vector<Record>& records, bool keepEmpty) {
  for (const Record& record : records) {
    if (!(record.parent == instance.broker.id)) continue;
    Group* group = find(instance.groups, record.uuid, record.label);
    if (group == nullptr) group = insertGroup(instance, record);
    findFlows(*group, records, keepEmpty);
    if (!keepEmpty && group->flows.empty()) remove(instance.groups, group);
  }
}

void Model::findFlows(Group& group, const std::vector<Record>& records, bool keepEmpty) {
  for (const Record& record : records) {
    if (!(record.parent == group.information.id)) continue;
    Flow* flow = find(group.flows, record.uuid, record.label);
    if (flow == nullptr) flow = insertFlow(group, record);
    findNodes(*flow, records, keepEmpty);
    if (!keepEmpty && flow->nodes.empty()) remove(group.flows, flow);
  }
}

void Model::findNodes(Flow& flow, const std::vector<Record>& records, bool keepEmpty) {
  for (const Record& record : records) {
    if (!(record.parent == flow.information.id)) continue;
    Node* node = find(flow.nodes, record.uuid, record.label);
    if (node != nullptr) {
      if (node->information.deleted != 0 && record.deleted == 0) node->information = record;
    } else if (keepEmpty || record.deleted == 0) {
      node = insertNode(flow, record);
    }
    if (node != nullptr) findStatistics(*node, records);
  }
}

void Model::findStatistics(Node& node, const std::vector<Record>& records) {
  for (const Record& record : records) {
    if (!(record.parent == node.information.id)) continue;
    assign(node.statistics, record);
    return;
  }
}

Group* Model::insertGroup(Instance& instance, const Record& record) {
  Group& group = instance.groups.emplace_back();
  group.information = record;
  group.information.parent = instance.broker.id;
  return &group;
}

Flow* Model::insertFlow(Group& group, const Record& record) {
  Flow& flow = group.flows.emplace_back();
  flow.information = record;
  flow.information.parent = group.information.id;
  return &flow;
}

Node* Model::insertNode(Flow& flow, const Record& record) {
  Node& node = flow.nodes.emplace_back();
  node.information = record;
  node.statistics = newRecord(kStatistics);
  node.statistics.parent = node.information.id;
  node.information.parent = flow.information.id;
  return &node;
}

void Model::resetAll(Instance& instance) {
  readArea(instance, false);
  for (Group& group : instance.groups)
    for (Flow& flow : group.flows)
      for (Node& node : flow.nodes) node.statistics.statistics = {};
  instance.broker.number = calendar(stampNow());
  writeAll(instance);
}

void Model::writeAll(Instance& instance) {
  Area& area = areaOf(instance);
  put(area, instance.broker);
  for (Group& group : instance.groups) {
    put(area, group.information);
    for (Flow& flow : group.flows) {
      put(area, flow.information);
      for (Node& node : flow.nodes) {
        put(area, node.information);
        put(area, node.statistics);
      }
    }
  }
}

// --- what strangers do ---

void Model::disturb(const Operation& operation) {
  Area& area = areas_.at(operation.broker);
  if (operation.kind == Kind::twin) return addTwin(area, operation);
  Record& record = area.records.at(operation.record);
  if (operation.kind == Kind::deleted)
    record.deleted = static_cast<std::uint32_t>(operation.value);
  else if (operation.kind == Kind::number)
    record.number = static_cast<std::uint32_t>(operation.value);
  else if (operation.kind == Kind::count)
    record.statistics.count = operation.value;
  else if (operation.kind == Kind::renamed)
    record.id = newId(record.type());
  else if (operation.kind == Kind::label)
    record.label.at(1) = static_cast<char>(operation.value);
  else if (operation.kind == Kind::sameId)
    record.id = area.records.at(static_cast<std::size_t>(operation.value)).id;
  else if (operation.value < 0)
    record.parent = {};
  else
    record.parent = area.records.at(static_cast<std::size_t>(operation.value)).id;
}

void Model::addTwin(Area& area, const Operation& operation) {
  Record twin = area.records.at(operation.record);
  twin.id = newId(twin.type());
  put(area, twin);
}

}  // namespace reference
