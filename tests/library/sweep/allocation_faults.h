// operator new, in all its forms, that fails when it is told to. Only allocations of an armed thread count,
// and none that the emulated board makes for itself.
#ifndef ENHANCE_DEPTH_TESTS_SWEEP_ALLOCATION_FAULTS_H
#define ENHANCE_DEPTH_TESTS_SWEEP_ALLOCATION_FAULTS_H

namespace allocation_faults {

// What a failing allocation throws; forms that must not throw return null.
enum class Thrown { kBadAlloc, kSomethingElse };

// Plans the failure of the `nth` armed allocation from now (0: of none), or of all from there on, and forgets
// the counts.
void plan(int nth, bool and_all_later, Thrown thrown);

// While one lives, the calling thread is armed.
class Armed {
 public:
  Armed();
  ~Armed();
  Armed(const Armed&) = delete;
  Armed& operator=(const Armed&) = delete;
};

// Armed allocations, and failed ones among them, since plan().
int count();
int failed();

// What is allocated now, by all threads, armed or not. What the board handed over must not be released.
long bytes_in_use();

}  // namespace allocation_faults

#endif  // ENHANCE_DEPTH_TESTS_SWEEP_ALLOCATION_FAULTS_H
