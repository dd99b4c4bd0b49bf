// SPDX-License-Identifier: Apache-2.0
#include "tests/reference/library.h"

#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <exception>
#include <stdexcept>
#include <utility>

#include "tests/support/scripted_clock.h"

using support::host;

namespace {

// What runs, once, when the library next asks which process it is in: a deployment does that after
// it has read the area and found its group, with no lock held.
std::function<void()>& whenAskedForProcess() {
  static std::function<void()> action;
  return action;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) pid_t getpid() noexcept {
  if (const auto action = std::exchange(whenAskedForProcess(), nullptr)) action();
  return static_cast<pid_t>(syscall(SYS_getpid));
}

namespace reference {
namespace {

constexpr std::size_t kSegmentHeader = 32;
constexpr std::size_t kHeader = 32;
constexpr char kGoOn[] = "go on at ";
constexpr char kEyecatcher[] = "zebcstar";

std::u16string wide(const std::string& text) {
  return {text.begin(), text.end()};
}

void setClock(std::int64_t milliseconds) {
  support::setClock(milliseconds / 1000, static_cast<int>(milliseconds % 1000));
}

// Puts date and time of the message into its bit stream.
support::ScriptedMessage& prepared(support::ScriptedMessage& message, const Operation& operation) {
  const std::time_t seconds = operation.put / 1000;
  std::tm put{};
  gmtime_r(&seconds, &put);
  char date[9];
  char time[7];
  std::strftime(date, sizeof date, "%Y%m%d", &put);
  std::strftime(time, sizeof time, "%H%M%S", &put);
  const auto hundredths = static_cast<int>(operation.put % 1000 / 10);
  std::string text = time;
  text += static_cast<char>('0' + hundredths / 10);
  text += static_cast<char>('0' + hundredths % 10);
  message.bits = support::bitStream({.putDate = date, .putTime = text});
  message.sizes = {operation.size};
  return message;
}

// A process of its own: does what it is told, one operation a line. A deployment that is half done
// says so and does what else it is told, until it is told to go on and what time it is.
class Instances {
 public:
  explicit Instances(support::Steps& parent) : parent_(parent) {}

  void run() {
    for (std::string line = parent_.hear(); !line.empty(); line = parent_.hear()) step(line);
  }

 private:
  void step(const std::string& line) {
    if (line == "maxima") return parent_.tell(std::to_string(library_.maximaReached()));
    const Operation operation = parse(line);
    if (line.find(" meanwhile=") != std::string::npos)
      library_.deploy(operation, [this] { pause(); });
    else
      library_.apply(operation);
    parent_.tell("done");
  }

  void pause() {
    parent_.tell("half done");
    std::string line = parent_.hear();
    for (; line.rfind(kGoOn, 0) != 0; line = parent_.hear()) {
      if (line.empty()) throw std::runtime_error("the other process is gone");
      step(line);
    }
    setClock(std::stoll(line.substr(std::strlen(kGoOn))));
  }

  support::Steps& parent_;
  OneProcess library_;
};

int runInstances(support::Steps& parent, const std::vector<std::string>&) {
  Instances(parent).run();
  return 0;
}
const support::Role kInstancesRole("instances", runInstances);

void expectToHear(support::Child& child, const std::string& line) {
  if (const std::string heard = child.hear(); heard != line)
    throw std::runtime_error("a process said " + heard + " instead of " + line);
}

}  // namespace

OneProcess::OneProcess() {
  support::startLibrary();
  host().forget();
  host().recording = false;
  host().script.propagate = [this](int&, HostMessage*) { support::advanceClock(takes_); };
}

std::vector<std::uint32_t> OneProcess::processes() const {
  return {static_cast<std::uint32_t>(getpid())};
}

void OneProcess::apply(const Operation& operation) {
  setClock(operation.now);
  if (operation.kind == Kind::create)
    create(operation);
  else if (operation.kind == Kind::deploy)
    deploy(
        operation, operation.meanwhile.empty() ? std::function<void()>()
                                               : [&] { apply(operation.meanwhile.front()); });
  else if (operation.kind == Kind::send)
    send(operation);
  else if (operation.kind == Kind::end)
    contexts_.erase(operation.instance);
  else
    disturb(operation);
}

void OneProcess::create(const Operation& operation) {
  support::ScriptedNode node;
  node.broker = wide(operation.broker);
  node.executionGroup = wide(operation.group);
  node.messageFlow = wide(operation.flow);
  contexts_[operation.instance] = std::make_unique<support::NodeContext>(node);
}

void OneProcess::deploy(const Operation& operation, const std::function<void()>& meanwhile) {
  setClock(operation.now);
  support::NodeContext& context = *contexts_.at(operation.instance);
  const NodePlan& plan = operation.plan;
  context.set({{"collectQueueTime", wide(plan.collectQueueTime)},
               {"label", wide(plan.label)},
               {"type", wide(plan.type)},
               {"eventMessage", wide(plan.eventMessage)},
               {"subFlowName", wide(plan.subFlowName)}});
  bool asked = !meanwhile;
  std::exception_ptr failure;
  if (meanwhile)
    whenAskedForProcess() = [&] {
      asked = true;
      try {
        meanwhile();
      } catch (...) {  // the library's call can't throw
        failure = std::current_exception();
      }
    };
  context.set("activateNode", wide(plan.activateNode));
  whenAskedForProcess() = nullptr;
  if (failure) std::rethrow_exception(failure);
  if (!asked) throw std::runtime_error("a deployment did not ask which process it is in");
}

void OneProcess::send(const Operation& operation) {
  takes_ = operation.takes;
  support::ScriptedMessage message;
  contexts_.at(operation.instance)->send(prepared(message, operation));
}

int OneProcess::maximaReached() {
  const std::size_t reached = host().messages(3).size();
  if (host().messages().size() != reached)
    throw std::runtime_error("the library logged: " + host().messages().back().text);
  return static_cast<int>(reached);
}

SeveralProcesses::SeveralProcesses(int count) {
  for (int i = 0; i < count; ++i)
    children_.push_back(std::make_unique<support::Child>("instances"));
}

SeveralProcesses::~SeveralProcesses() {
  try {
    for (const auto& child : children_) child->tell("");
    for (const auto& child : children_) child->wait();
  } catch (const std::exception&) {  // a child that is gone has already failed the test
  }
}

std::vector<std::uint32_t> SeveralProcesses::processes() const {
  std::vector<std::uint32_t> ids;
  for (const auto& child : children_) ids.push_back(static_cast<std::uint32_t>(child->pid()));
  return ids;
}

void SeveralProcesses::apply(const Operation& operation) {
  if (isStrangers(operation.kind)) return disturb(operation);
  support::Child& child = *children_.at(static_cast<std::size_t>(operation.process));
  child.tell(describe(operation));
  if (!operation.meanwhile.empty()) {
    expectToHear(child, "half done");
    apply(operation.meanwhile.front());
    child.tell(kGoOn + std::to_string(operation.endsAt()));
  }
  expectToHear(child, "done");
}

int SeveralProcesses::maximaReached() {
  int reached = 0;
  for (const auto& child : children_) {
    child->tell("maxima");
    reached += std::stoi(child->hear());
  }
  return reached;
}

StoredArea::StoredArea(const std::string& broker) {
  const key_t key = ftok(("/tmp/" + uuidOf(broker) + ".zebcshme").c_str(), 1);
  const int id = key == -1 ? -1 : shmget(key, 0, 0);
  if (id < 0) return;
  void* const address = shmat(id, nullptr, 0);
  if (address == reinterpret_cast<void*>(-1)) return;
  segment_ = static_cast<std::uint8_t*>(address);
  shmid_ds state{};
  shmctl(id, IPC_STAT, &state);
  most_ = state.shm_segsz - kSegmentHeader;
  // It is the first area of all.
  if (std::memcmp(segment_ + kSegmentHeader, kEyecatcher, 8) == 0)
    area_ = segment_ + kSegmentHeader;
}

StoredArea::~StoredArea() {
  if (segment_ != nullptr) shmdt(segment_);
}

Bytes StoredArea::copy() const {
  if (area_ == nullptr) return {};
  std::uint32_t size;
  std::memcpy(&size, area_ + 12, sizeof size);
  return {area_, area_ + std::min<std::size_t>(size, most_)};
}

namespace {

template <typename Number>
void write(std::uint8_t* at, Number value) {
  std::memcpy(at, &value, sizeof value);
}

// Where the records of the area begin, by their own lengths, and where the last one ends.
std::vector<std::size_t> recordOffsets(const Bytes& area) {
  std::vector<std::size_t> offsets{kHeader};
  while (offsets.back() < support::unsignedAt(area, 20))
    offsets.push_back(offsets.back() + support::recordSizeAt(area, offsets.back()));
  return offsets;
}

// A new ID, unlike any other: the library's random numbers have 31 bits.
void writeId(std::uint8_t* record, std::int64_t now) {
  static std::uint32_t strangers = 0x80000000;
  write(record + 12, static_cast<std::uint32_t>(now / 1000));
  write(record + 16, static_cast<std::uint32_t>(now % 1000));
  write(record + 20, ++strangers);
}

// Appends as another process would.
void addTwin(std::uint8_t* area, const Bytes& bytes, std::size_t from, std::size_t size,
             std::int64_t now) {
  const std::uint32_t next = support::unsignedAt(bytes, 16);
  if (next + size <= support::unsignedAt(bytes, 12)) {
    std::memcpy(area + next, bytes.data() + from, size);
    writeId(area + next, now);
    write(area + 16, static_cast<std::uint32_t>(next + size));
    write(area + 20, static_cast<std::uint32_t>(next + size));
  }
  write(area + 24, static_cast<std::uint32_t>(now / 1000));
  write(area + 28, static_cast<std::uint32_t>(now % 1000));
}

void writeCount(std::uint8_t* record, std::int64_t value) {
  const std::string text = std::to_string(value);
  std::memset(record + 40, 0, 24);
  std::copy(text.begin(), text.end(), record + 40);
}

}  // namespace

void disturb(const Operation& operation) {
  const StoredArea area(operation.broker);
  const Bytes bytes = area.copy();
  const std::vector<std::size_t> offsets = recordOffsets(bytes);
  const std::size_t at = offsets.at(operation.record);
  std::uint8_t* const record = area.bytes() + at;
  const std::size_t size = offsets.at(operation.record + 1) - at;
  if (operation.kind == Kind::deleted) {
    write(record + 4, static_cast<std::uint32_t>(operation.value));
  } else if (operation.kind == Kind::number) {
    const std::size_t label = at + 46 + 2UL * support::unsignedAt(bytes, at + 40);
    write(area.bytes() + label + 6 + 2UL * support::unsignedAt(bytes, label),
          static_cast<std::uint32_t>(operation.value));
  } else if (operation.kind == Kind::count) {
    writeCount(record, operation.value);
  } else if (operation.kind == Kind::renamed) {
    writeId(record, operation.now);
  } else if (operation.kind == Kind::label) {
    const std::size_t label = at + 46 + 2UL * support::unsignedAt(bytes, at + 40);
    write(area.bytes() + label + 6, static_cast<std::uint16_t>(operation.value));
  } else if (operation.kind == Kind::sameId) {
    const std::size_t other = offsets.at(static_cast<std::size_t>(operation.value));
    std::memcpy(record + 8, bytes.data() + other + 8, 16);
  } else if (operation.kind == Kind::twin) {
    addTwin(area.bytes(), bytes, at, size, operation.now);
  } else if (operation.value < 0) {
    std::memset(record + 24, 0, 16);
  } else {
    const std::size_t parent = offsets.at(static_cast<std::size_t>(operation.value));
    std::memcpy(record + 24, bytes.data() + parent + 8, 16);
  }
}

}  // namespace reference
