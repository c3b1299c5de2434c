#include "cache.h"

#if defined(__x86_64__)
#include <emmintrin.h>
#endif

namespace enhance_depth_bench {
namespace {

// The shortest line of any supported processor; evicting a longer line twice does no harm.
constexpr std::size_t kLineBytes = 64;

#if defined(__x86_64__)
void evict_line(const char* line) { _mm_clflush(line); }
void wait_for_evictions() { _mm_mfence(); }
#elif defined(__aarch64__)
void evict_line(const char* line) { asm volatile("dc civac, %0" : : "r"(line) : "memory"); }
void wait_for_evictions() { asm volatile("dsb sy" : : : "memory"); }
#else
#error "The benchmarks know how to evict cache lines on x86-64 and AArch64 only."
#endif

}  // namespace

void evict(const void* data, std::size_t bytes) {
  const char* const begin = static_cast<const char*>(data);
  for (std::size_t offset = 0; offset < bytes; offset += kLineBytes) {
    evict_line(begin + offset);
  }
  wait_for_evictions();
}

}  // namespace enhance_depth_bench
