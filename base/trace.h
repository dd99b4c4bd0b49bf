// SPDX-License-Identifier: Apache-2.0
// What the library says of itself, all of it through the host's log.
//
// Nearly every operation begins with a trace scope: it writes "Entry" where it begins and
// "Exit" where the operation ends, and gives the operation its further trace texts and messages.
// Trace entries are written only while `bZEBTracing` is on; with it off, each trace point is one
// test of an int and formats nothing. Messages are always written. errno passes through untouched.
//
//   ZEB_ReturnCode ZEB_Thing::put(void* p) {
//     ZEB_Trace trace(kUnit, "ZEB_Thing::put");
//     trace.text("Writing %s", name);
//     if (!p) return trace.leave(ZEB_ReturnCode(ZEB_NULL_ARGUMENT));
#ifndef ZEB_BASE_TRACE_H
#define ZEB_BASE_TRACE_H

#include <cstdint>
#include <type_traits>

// The trace switch: 1 on, 0 off. Written only by getCommonValues, before messages flow, and read
// without a lock by every thread.
extern int bZEBTracing;

// The source of every message: "DravikMonitorNode" in 16-bit units. Trace entries have an empty
// source.
extern const std::uint16_t logMessageSource[];

// Longest text of a log entry in bytes, with its terminator; what is longer is cut.
inline constexpr int kLogTextBytes = 1024;

// A format of printf, and the line that wrote it. The text must be a literal: it is not copied.
struct ZEB_Trace_Format {
  const char* format;
  int line;
  // NOLINTNEXTLINE(google-explicit-constructor): a literal takes the caller's line on its way in.
  constexpr ZEB_Trace_Format(const char* text, int at = __builtin_LINE())
      : format(text), line(at) {}
};

// How an argument goes into a text: pointers that are no text as their low 32 bits (for "%X"),
// everything else as it is. Classes with a text of their own overload it.
template <class Argument>
auto ZEB_Printable(const Argument& argument) {
  if constexpr (std::is_convertible_v<const Argument&, const char*>)
    return static_cast<const char*>(argument);
  else if constexpr (std::is_pointer_v<Argument>)
    return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(argument));
  else
    return argument;
}

// Trace points can be compiled out, to measure what they cost while the switch is off.
#ifndef ZEB_TRACE_POINTS
#define ZEB_TRACE_POINTS 1
#endif

// Belongs to one operation on one thread. The host's log is called with whatever locks the
// operation holds at that point.
//
// No function that is not inlined takes the scope's address: while the switch is off, a scope lives
// in registers and costs its tests alone.
class ZEB_Trace {
 public:
  // Both texts must be literals. `unit` is the 8-character unit name.
  [[gnu::always_inline]] ZEB_Trace(const char* unit, const char* function,
                                   int line = __builtin_LINE())
      : unit_(unit), function_(function), line_(line) {
    if (on()) [[unlikely]]
      unwinding_ = entered(unit_, function_, line_);
  }
  // Writes "Exit", with the line where the scope began: where the operation is left a destructor
  // can't know. Nothing while an exception unwinds the operation: the host is not called then.
  [[gnu::always_inline]] ~ZEB_Trace() {
    if (!left_ && on()) [[unlikely]]
      exited(unit_, function_, line_, unwinding_);
  }
  ZEB_Trace(const ZEB_Trace&) = delete;
  ZEB_Trace& operator=(const ZEB_Trace&) = delete;

  // Writes "Exit: 0x%X" with the low 32 bits of the result, and hands the result on. The destructor
  // then writes nothing more. Call it last, in the return statement.
  template <class Result>
  [[gnu::always_inline]] Result leave(Result result, int line = __builtin_LINE()) {
    left_ = true;
    if (on()) [[unlikely]]
      write(unit_, function_, line, "Exit: 0x%X", low32(result));
    return result;
  }

  // A trace text, while the switch is on; the arguments are converted only then. Each must suit its
  // place in the format: the compiler does not check it.
  template <class... Arguments>
  [[gnu::always_inline]] void text(ZEB_Trace_Format format, const Arguments&... arguments) const {
    if (on()) [[unlikely]]
      write(unit_, function_, format.line, format.format, ZEB_Printable(arguments)...);
  }

  // A text in the form of a trace entry, whether or not the switch is on.
  template <class... Arguments>
  void print(ZEB_Trace_Format format, const Arguments&... arguments) const {
    write(unit_, function_, format.line, format.format, ZEB_Printable(arguments)...);
  }

  // The messages. They are written whether or not the switch is on, and `line` is the caller's.
  //
  // Message 1: creating an object or a buffer yielded nothing.
  void allocationError(int line = __builtin_LINE()) const {
    logAllocationError(unit_, function_, line);
  }

  // Message 2: a host or system function failed. `error` says why; both texts are only read.
  void failed(const char* callee, const char* error, int line = __builtin_LINE()) const {
    logFailed(unit_, function_, line, callee, error);
  }

  // Message 2 for a system function that left errno; `errorNumber` is that errno.
  void systemCallFailed(const char* callee, int errorNumber, int line = __builtin_LINE()) const {
    logSystemCallFailed(unit_, function_, line, callee, errorNumber);
  }

  // Message 2 for a host function; `format` has one "%i" for the return code.
  void hostCallFailed(const char* callee, const char* format, int returnCode,
                      int line = __builtin_LINE()) const {
    logHostCallFailed(unit_, function_, line, callee, format, returnCode);
  }

  // Message 3: the statistics of the named broker reached their maximum and are reset.
  void maximumReached(const char* brokerLabel, int line = __builtin_LINE()) const {
    logMaximumReached(unit_, function_, line, brokerLabel);
  }

 private:
  static bool on() { return ZEB_TRACE_POINTS != 0 && bZEBTracing != 0; }

  template <class Result>
  static unsigned low32(const Result& result) {
    if constexpr (std::is_pointer_v<Result>)
      return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(result));
    else
      return static_cast<unsigned>(result);
  }

  // The number of exceptions in flight.
  [[gnu::cold, gnu::noinline]] static int entered(const char* unit, const char* function, int line);
  [[gnu::cold, gnu::noinline]] static void exited(const char* unit, const char* function, int line,
                                                  int unwinding);
  [[gnu::cold, gnu::noinline]] static void write(const char* unit, const char* function, int line,
                                                 const char* format, ...);
  [[gnu::cold, gnu::noinline]] static void logAllocationError(const char* unit,
                                                              const char* function, int line);
  [[gnu::cold, gnu::noinline]] static void logFailed(const char* unit, const char* function,
                                                     int line, const char* callee,
                                                     const char* error);
  [[gnu::cold, gnu::noinline]] static void logSystemCallFailed(const char* unit,
                                                               const char* function, int line,
                                                               const char* callee, int errorNumber);
  [[gnu::cold, gnu::noinline]] static void logHostCallFailed(const char* unit, const char* function,
                                                             int line, const char* callee,
                                                             const char* format, int returnCode);
  [[gnu::cold, gnu::noinline]] static void logMaximumReached(const char* unit, const char* function,
                                                             int line, const char* brokerLabel);

  const char* unit_;
  const char* function_;
  int line_;
  int unwinding_ = 0;  // exceptions in flight where the operation began
  bool left_ = false;  // leave has seen to the exit
};

#endif  // ZEB_BASE_TRACE_H
