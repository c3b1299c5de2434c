// Converts every one of the 2^32 floats to depth; scripts/check-conversions builds and runs it.
#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <thread>
#include <vector>

#include "float_patterns.h"

int main() {
  constexpr std::uint64_t kPart = std::uint64_t{1} << 24U;
  constexpr std::uint64_t kParts = (std::uint64_t{1} << 32U) / kPart;
  std::atomic<std::uint64_t> next_part{0};
  std::atomic<bool> failed{false};
  std::vector<std::thread> threads(std::max(1U, std::thread::hardware_concurrency()));
  for (std::thread& thread : threads) {
    thread = std::thread([&] {
      for (std::uint64_t part = next_part++; part < kParts; part = next_part++) {
        if (const auto wrong =
                float_patterns::first_wrong(static_cast<std::uint32_t>(part * kPart), kPart, 1)) {
          std::printf("wrong: the float with the bits 0x%08x\n", *wrong);
          failed = true;
        }
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  std::printf("%llu floats converted by the vector loop and by the scalar tail: %s\n",
              static_cast<unsigned long long>(kParts * kPart), failed ? "FAILED" : "all as expected");
  return failed ? 1 : 0;
}
