// SPDX-License-Identifier: Apache-2.0
// The library as a host meets it: loaded with dlopen, driven through the table that it hands over,
// and judged by what it calls, logs and leaves in shared memory. None of its headers is used here.
//
// Some settings are read once per process, so each test wants a process of its own, as CTest gives
// it one.
#ifndef ZEB_TESTS_SUPPORT_PLUGIN_H
#define ZEB_TESTS_SUPPORT_PLUGIN_H

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "interface/host_interface.h"
#include "tests/support/scripted_host.h"
#include "tests/support/stored_bytes.h"

namespace support {

inline constexpr char kConfiguration[] = "/opt/holt/lil/zebpnode.cfg";

const std::uint16_t* units(const std::u16string& text);

// Writes a file and the folders above it.
void writeFile(const std::string& path, const std::string& content);

// Before the library is loaded: loads the one in which a tree stays partial while it is traced. So
// does a run of scripts/witness.
void useWitnessLibrary();

// The address of an export; a test failure and null when there is none.
void* exported(const char* name);

// Calls the entry point and keeps the table that it hands over.
HostFactory* startLibrary();
// Writes the configuration first.
HostFactory* startLibrary(const std::string& configuration);
HostNodeFunctionTable& table();
void readCommonValues();

using Attributes = std::vector<std::pair<std::string, std::u16string>>;

// A node instance. Deleted through the table at the end of its life.
class NodeContext {
 public:
  explicit NodeContext(const ScriptedNode& node = {});
  ~NodeContext();
  NodeContext(const NodeContext&) = delete;
  NodeContext& operator=(const NodeContext&) = delete;

  void* context() const { return context_; }
  ScriptedNode& node() { return node_; }
  int set(const std::string& name, const std::u16string& value);
  void set(const Attributes& attributes);
  // Sends a message through the node on the calling thread.
  void send(ScriptedMessage& message);
  // One whose bit stream is said to have that size, negative ones included.
  void send(int size = 364);
  void sendNothing();  // a null message handle
  void end();

 private:
  ScriptedNode node_;
  void* context_;
};

// What a node is deployed with; the five attributes that complete it, and its label.
struct NodePlan {
  std::u16string label = u"NODE1";
  std::u16string type = u"other";
  std::u16string eventMessage = {};
  std::u16string subFlowName = {};
  std::u16string activateNode = u"yes";
};
Attributes attributesOf(const NodePlan& plan);
std::unique_ptr<NodeContext> deploy(const NodePlan& plan, const ScriptedNode& node = {});

// What the descriptor of a message holds.
struct Descriptor {
  char messageIdFill = 'm';
  char correlationIdFill = 'c';
  std::int32_t applicationType = 28;
  std::string applicationName = "an application's name";  // 28 bytes, zero-filled
  std::string putDate = "20260102";
  std::string putTime = "03040506";
};
// The 364 bytes of a descriptor, which are all that is read of a bit stream.
std::vector<std::uint8_t> bitStream(const Descriptor& descriptor = {});

// Shared memory of the broker with this identifier, copied; empty when there is no segment.
Bytes sharedMemory(const std::string& uuid = "UUID1");
// The records of one area, up to its last position; none when the area is not there.
std::vector<StoredRecord> storedRecords(const std::string& eyecatcher,
                                        const std::string& uuid = "UUID1");
inline std::vector<StoredRecord> statisticsRecords(const std::string& uuid = "UUID1") {
  return storedRecords("zebcstar", uuid);
}
inline std::vector<StoredRecord> templates(const std::string& uuid = "UUID1") {
  return storedRecords("zebcetar", uuid);
}
inline std::vector<StoredRecord> events(const std::string& uuid = "UUID1") {
  return storedRecords("zebcedar", uuid);
}
std::vector<StoredRecord> ofType(const std::vector<StoredRecord>& records, StoredType type);
// The live node record with this label, and the statistics that belong to it; throws without one.
StoredRecord nodeRecord(const std::u16string& label, const std::string& uuid = "UUID1");
StoredRecord statisticsOf(const std::u16string& label, const std::string& uuid = "UUID1");

// The segment, attached for writing, as a damaged or foreign program would.
class WritableSegment {
 public:
  explicit WritableSegment(const std::string& uuid = "UUID1");
  ~WritableSegment();
  WritableSegment(const WritableSegment&) = delete;
  WritableSegment& operator=(const WritableSegment&) = delete;

  std::uint8_t* at(std::size_t offset) const { return address_ + offset; }
  void put(std::size_t offset, std::uint32_t value);
  void putText(std::size_t offset, const std::string& text, std::size_t width);

 private:
  std::uint8_t* address_;
};

// Broker BRK1 has the identifier UUID1, and the library is started with no configuration file.
class PluginTest : public testing::Test {
 protected:
  PluginTest();
};

// As above, not started yet: for tests that write settings first.
class PluginBeforeStart : public testing::Test {
 protected:
  PluginBeforeStart();
};

std::vector<std::string> keyFiles(const std::string& folder = "/tmp");

}  // namespace support

#endif  // ZEB_TESTS_SUPPORT_PLUGIN_H
