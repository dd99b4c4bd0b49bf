#include "base/trace.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <exception>

#include "base/error_text.h"
#include "host/interface/host_interface.h"

int bZEBTracing = 0;

const std::uint16_t logMessageSource[] = {'D', 'r', 'a', 'v', 'i', 'k', 'M', 'o', 'n',
                                          'i', 't', 'o', 'r', 'N', 'o', 'd', 'e', 0};

namespace {

constexpr int kLogType = 2;
constexpr std::uint16_t kNoSource[] = {0};
constexpr int kTraceEntry = 0;
constexpr int kAllocationError = 1;
constexpr int kFunctionFailed = 2;
constexpr int kMaximumReached = 3;

// The host may change errno, and callers trace before they look at it.
class KeepErrno {
 public:
  KeepErrno() : kept_(errno) {}
  ~KeepErrno() { errno = kept_; }
  KeepErrno(const KeepErrno&) = delete;
  KeepErrno& operator=(const KeepErrno&) = delete;

 private:
  int kept_;
};

// The list of inserts ends in a null pointer of full width, which a plain 0 would not be.
constexpr char* kEnd = nullptr;

void logTrace(const char* unit, int line, const char* function, const char* text) {
  const KeepErrno keep;
  int unread = 0;
  hcxLog(&unread, kLogType, unit, line, function, kNoSource, kTraceEntry, text, kEnd);
}

}  // namespace

void Trace::enter() {
  unwinding_ = std::uncaught_exceptions();
  logTrace(unit_, line_, function_, "Entry");
}

void Trace::exit() const {
  if (left_ || std::uncaught_exceptions() > unwinding_) return;
  logTrace(unit_, line_, function_, "Exit");
}

void Trace::exitWith(unsigned result, int line) {
  left_ = true;
  write(line, "Exit: 0x%X", result);
}

void Trace::write(int line, const char* format, ...) const {
  char text[kLogTextBytes];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  logTrace(unit_, line, function_, text);
}

void Trace::allocationError(int line) const {
  const KeepErrno keep;
  char text[kLogTextBytes];
  std::snprintf(text, sizeof text, "Allocation Error in %s", function_);
  int unread = 0;
  hcxLog(&unread, kLogType, unit_, line, function_, logMessageSource, kAllocationError, text,
         function_, kEnd);
}

void Trace::failed(const char* callee, const char* error, int line) const {
  const KeepErrno keep;
  char text[kLogTextBytes];
  std::snprintf(text, sizeof text, "Function %s failed in %s. %s.", callee, function_, error);
  int unread = 0;
  hcxLog(&unread, kLogType, unit_, line, function_, logMessageSource, kFunctionFailed, text, callee,
         function_, error, kEnd);
}

void Trace::systemCallFailed(const char* callee, int errorNumber, int line) const {
  char error[kErrorTextBytes];
  formatError(error, errorNumber);
  failed(callee, error, line);
}

void Trace::hostCallFailed(const char* callee, const char* format, int returnCode, int line) const {
  char error[64];
  std::snprintf(error, sizeof error, format, returnCode);
  failed(callee, error, line);
}

void Trace::maximumReached(const char* brokerLabel, int line) const {
  const KeepErrno keep;
  int unread = 0;
  hcxLog(&unread, kLogType, unit_, line, function_, logMessageSource, kMaximumReached,
         "Maximum reached. Reset statistics.", brokerLabel, kEnd);
}
