// SPDX-License-Identifier: Apache-2.0
#include "tests/support/plugin.h"

#include <dlfcn.h>
#include <sys/shm.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "tests/support/ipc_objects.h"
#include "tests/support/witness.h"

namespace support {
namespace {

HostNodeFunctionTable* handedOver = nullptr;

bool witnessLibrary = witnessing();

void* library() {
  if (witnessing()) haveTraced(kConfiguration);
  static void* const loaded =
      dlopen(witnessLibrary ? ZEB_WITNESS_LIBRARY : ZEB_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  if (loaded == nullptr) throw std::runtime_error(dlerror());
  return loaded;
}

template <typename Function>
Function function(const char* name) {
  return reinterpret_cast<Function>(exported(name));
}

void putBytes(std::vector<std::uint8_t>& bits, std::size_t at, const std::string& text,
              std::size_t width) {
  std::memcpy(bits.data() + at, text.data(), std::min(text.size(), width));
}

}  // namespace

const std::uint16_t* units(const std::u16string& text) {
  return reinterpret_cast<const std::uint16_t*>(text.c_str());
}

void writeFile(const std::string& path, const std::string& content) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream file(path, std::ios::binary);
  file << content;
  if (!file.flush()) throw std::runtime_error("can't write " + path);
}

void useWitnessLibrary() {
  witnessLibrary = true;
}

void* exported(const char* name) {
  void* const address = dlsym(library(), name);
  if (address == nullptr) throw std::runtime_error(dlerror());
  return address;
}

HostFactory* startLibrary() {
  const auto entry = function<HostFactory* (*)()>("gqaGetMessageflowNodeFactory");
  const std::size_t before = host().calls().size();
  HostFactory* const factory = entry();
  const std::vector<Call> calls = host().calls();
  for (std::size_t i = before; i < calls.size(); ++i) {
    if (calls[i].function != "hnxDefineNodeClass") continue;
    handedOver = static_cast<HostNodeFunctionTable*>(const_cast<void*>(calls[i].handles[1]));
  }
  return factory;
}

HostFactory* startLibrary(const std::string& configuration) {
  writeFile(kConfiguration, configuration);
  return startLibrary();
}

HostNodeFunctionTable& table() {
  if (handedOver == nullptr) throw std::runtime_error("no node class was defined");
  return *handedOver;
}

void readCommonValues() {
  function<void (*)()>("getCommonValues")();
}

NodeContext::NodeContext(const ScriptedNode& node)
    : node_(node), context_(table().createContext(nullptr, units(u"ignored"), node_.handle())) {}

NodeContext::~NodeContext() {
  end();
}

void NodeContext::end() {
  if (context_ != nullptr) table().deleteContext(context_);
  context_ = nullptr;
}

int NodeContext::set(const std::string& name, const std::u16string& value) {
  return table().setAttribute(context_, units(std::u16string(name.begin(), name.end())),
                              units(value));
}

void NodeContext::set(const Attributes& attributes) {
  for (const auto& [name, value] : attributes) set(name, value);
}

void NodeContext::send(ScriptedMessage& message) {
  table().evaluate(context_, nullptr, nullptr, message.handle());
}

void NodeContext::send(int size) {
  ScriptedMessage message;
  message.bits = bitStream();
  message.sizes = {size};
  send(message);
}

void NodeContext::sendNothing() {
  table().evaluate(context_, nullptr, nullptr, nullptr);
}

Attributes attributesOf(const NodePlan& plan) {
  return {{"label", plan.label},
          {"type", plan.type},
          {"eventMessage", plan.eventMessage},
          {"subFlowName", plan.subFlowName},
          {"activateNode", plan.activateNode}};
}

std::unique_ptr<NodeContext> deploy(const NodePlan& plan, const ScriptedNode& node) {
  auto context = std::make_unique<NodeContext>(node);
  context->set(attributesOf(plan));
  return context;
}

std::vector<std::uint8_t> bitStream(const Descriptor& descriptor) {
  std::vector<std::uint8_t> bits(364, 0);
  putBytes(bits, 48, std::string(24, descriptor.messageIdFill), 24);
  putBytes(bits, 72, std::string(24, descriptor.correlationIdFill), 24);
  std::memcpy(bits.data() + 272, &descriptor.applicationType, 4);
  putBytes(bits, 276, descriptor.applicationName, 28);
  putBytes(bits, 304, descriptor.putDate, 8);
  putBytes(bits, 312, descriptor.putTime, 8);
  return bits;
}

Bytes sharedMemory(const std::string& uuid) {
  const auto segment = segmentOf("/tmp/" + uuid + ".zebcshme");
  return segment ? bytesOf(*segment) : Bytes{};
}

std::vector<StoredRecord> storedRecords(const std::string& eyecatcher, const std::string& uuid) {
  const Bytes segment = sharedMemory(uuid);
  if (segment.empty()) return {};
  const auto area = findBlock(segment, eyecatcher);
  return area ? recordsOf(segment, *area) : std::vector<StoredRecord>{};
}

std::vector<StoredRecord> ofType(const std::vector<StoredRecord>& records, StoredType type) {
  std::vector<StoredRecord> found;
  std::copy_if(records.begin(), records.end(), std::back_inserter(found),
               [type](const StoredRecord& record) { return record.type() == type; });
  return found;
}

StoredRecord nodeRecord(const std::u16string& label, const std::string& uuid) {
  for (const StoredRecord& node : ofType(statisticsRecords(uuid), kNode)) {
    if (node.label() == label && node.deleted() == 0) return node;
  }
  throw std::runtime_error("no live node of that label is stored");
}

StoredRecord statisticsOf(const std::u16string& label, const std::string& uuid) {
  const StoredRecord node = nodeRecord(label, uuid);
  for (const StoredRecord& statistics : ofType(statisticsRecords(uuid), kStatistics)) {
    if (statistics.isChildOf(node)) return statistics;
  }
  throw std::runtime_error("the node has no statistics stored");
}

WritableSegment::WritableSegment(const std::string& uuid) {
  const auto segment = segmentOf("/tmp/" + uuid + ".zebcshme");
  if (!segment) throw std::runtime_error("no segment to write into");
  address_ = static_cast<std::uint8_t*>(shmat(segment->id, nullptr, 0));
}

WritableSegment::~WritableSegment() {
  shmdt(address_);
}

void WritableSegment::put(std::size_t offset, std::uint32_t value) {
  std::memcpy(at(offset), &value, sizeof value);
}

void WritableSegment::putText(std::size_t offset, const std::string& text, std::size_t width) {
  std::memset(at(offset), 0, width);
  std::memcpy(at(offset), text.data(), std::min(text.size(), width));
}

PluginBeforeStart::PluginBeforeStart() {
  writeFile("/var/holt/registry/BRK1/BrokerUUID", "UUID1\n");
}

PluginTest::PluginTest() {
  writeFile("/var/holt/registry/BRK1/BrokerUUID", "UUID1\n");
  startLibrary();
}

std::vector<std::string> keyFiles(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().string().find(".zeb") != std::string::npos) {
      names.push_back(entry.path().filename().string());
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace support
