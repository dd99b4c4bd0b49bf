// SPDX-License-Identifier: Apache-2.0
// What two host processes of one broker do in a run, in turns.
#ifndef ZEB_TESTS_FAULTS_LIFE_CYCLE_H
#define ZEB_TESTS_FAULTS_LIFE_CYCLE_H

namespace faults {

// What a process exits with when the other one is gone, and has its own story to tell.
inline constexpr int kAlone = 3;

// Whose turn it is: handed to and fro between the two processes.
class Turns {
 public:
  Turns(int in, int out) : in_(in), out_(out) {}
  // Lets the other process go on, and waits until it does the same.
  void pass();
  // The halves of that, for the process that comes second and ends first.
  void await();
  void give();

 private:
  int in_;
  int out_;
};

// The messages of a run in all; those that are in the statistics at its end, since every node that
// joins resets them; and the events that are stored by then, of messages and of failures.
inline constexpr int kMessages = 20;
inline constexpr long long kCounted = 13;
inline constexpr long long kEvents = 16;

// How often a run does what allocates once each time.
inline constexpr int kContexts = 4;
inline constexpr int kAttributesSet = 25;

// The bodies of the two processes. Each ends in the state in which it began: no memory, descriptor
// or attachment of the library stays.
void liveFirst(Turns& turns);
void liveSecond(Turns& turns);

}  // namespace faults

#endif  // ZEB_TESTS_FAULTS_LIFE_CYCLE_H
