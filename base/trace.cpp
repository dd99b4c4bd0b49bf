// SPDX-License-Identifier: Apache-2.0
#include "base/trace.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <exception>

#include "base/error_text.h"
#include "interface/host_interface.h"

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

int ZEB_Trace::entered(const char* unit, const char* function, int line) {
  logTrace(unit, line, function, "Entry");
  return std::uncaught_exceptions();
}

void ZEB_Trace::exited(const char* unit, const char* function, int line, int unwinding) {
  if (std::uncaught_exceptions() > unwinding) return;
  logTrace(unit, line, function, "Exit");
}

void ZEB_Trace::write(const char* unit, const char* function, int line, const char* format, ...) {
  char text[kLogTextBytes];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  logTrace(unit, line, function, text);
}

void ZEB_Trace::logAllocationError(const char* unit, const char* function, int line) {
  const KeepErrno keep;
  char text[kLogTextBytes];
  std::snprintf(text, sizeof text, "Allocation Error in %s", function);
  int unread = 0;
  hcxLog(&unread, kLogType, unit, line, function, logMessageSource, kAllocationError, text,
         function, kEnd);
}

void ZEB_Trace::logFailed(const char* unit, const char* function, int line, const char* callee,
                          const char* error) {
  const KeepErrno keep;
  char text[kLogTextBytes];
  std::snprintf(text, sizeof text, "Function %s failed in %s. %s.", callee, function, error);
  int unread = 0;
  hcxLog(&unread, kLogType, unit, line, function, logMessageSource, kFunctionFailed, text, callee,
         function, error, kEnd);
}

void ZEB_Trace::logSystemCallFailed(const char* unit, const char* function, int line,
                                    const char* callee, int errorNumber) {
  char error[kErrorTextBytes];
  ZEB_FormatError(error, errorNumber);
  logFailed(unit, function, line, callee, error);
}

void ZEB_Trace::logHostCallFailed(const char* unit, const char* function, int line,
                                  const char* callee, const char* format, int returnCode) {
  char error[64];
  std::snprintf(error, sizeof error, format, returnCode);
  logFailed(unit, function, line, callee, error);
}

void ZEB_Trace::logMaximumReached(const char* unit, const char* function, int line,
                                  const char* brokerLabel) {
  const KeepErrno keep;
  int unread = 0;
  hcxLog(&unread, kLogType, unit, line, function, logMessageSource, kMaximumReached,
         "Maximum reached. Reset statistics.", brokerLabel, kEnd);
}
