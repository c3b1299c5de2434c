// operator new, in all its forms, that fails when it is told to. Only allocations of an armed thread count,
// and none that the emulated board makes for itself.
#ifndef ENHANCE_DEPTH_TESTS_SWEEP_ALLOCATION_FAULTS_H
#define ENHANCE_DEPTH_TESTS_SWEEP_ALLOCATION_FAULTS_H

namespace allocation_faults {

// The exception of a failing allocation; forms that must not throw return null.
enum class Thrown { kBadAlloc, kSomethingElse };

// Plans the failure of the `nth` armed allocation from now (0: of none), or of all from there on, and forgets
// the counts.
void plan(int nth, bool and_all_later, Thrown thrown);

// Arms the calling thread for as long as it exists.
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

// Live allocations of all threads, armed or not, without those that the board handed over.
long bytes_in_use();

}  // namespace allocation_faults

#endif  // ENHANCE_DEPTH_TESTS_SWEEP_ALLOCATION_FAULTS_H
