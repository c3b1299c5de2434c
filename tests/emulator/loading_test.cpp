// The emulated libraries as files: loaded, used and unloaded by a program that is linked with none of them.
#include <cstdio>
#include <fstream>

#include <NvInferRuntime.h>
#include <cuda_runtime_api.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif
#include <unistd.h>

namespace {

// Pages of the process's address space.
long address_space() {
  long pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  return pages;
}

void* load(const char* file) {
  void* library = dlopen(file, RTLD_NOW | RTLD_LOCAL);
  EXPECT_NE(library, nullptr) << dlerror();
  return library;
}

template <typename Function>
Function* function(void* library, const char* name) {
  return reinterpret_cast<Function*>(dlsym(library, name));
}

TEST(EmulatedLibraries, GiveBackTheirAddressSpaceWhenTheyAreUnloaded) {
#ifdef __SANITIZE_ADDRESS__
  const __lsan::ScopedDisabler left_on_purpose;  // contents that are in use stay when the board is unloaded
#endif
  long once = 0;
  for (int round = 0; round < 3; ++round) {
    void* const nvinfer = load(NVINFER);
    void* const cudart = load(CUDART);
    void* memory = nullptr;
    EXPECT_EQ(function<decltype(cudaMalloc)>(cudart, "cudaMalloc")(&memory, 1), cudaSuccess);
    dlclose(cudart);
    dlclose(nvinfer);
    EXPECT_EQ(dlopen(CUDART, RTLD_NOW | RTLD_NOLOAD), nullptr) << "still loaded";
    if (round == 0) {
      once = address_space();
    }
  }
  EXPECT_LT(address_space() - once, (1L << 30) / sysconf(_SC_PAGESIZE));
}

TEST(EmulatedLibraries, TheCameraSdkDoesNotBringTheCudaRuntime) {
  void* const camera = load(CAMERA);
  EXPECT_EQ(dlopen("libcudart.so.12", RTLD_NOW | RTLD_NOLOAD), nullptr);
  EXPECT_EQ(dlopen(CUDART, RTLD_NOW | RTLD_NOLOAD), nullptr);
  dlclose(camera);
}

TEST(EmulatedLibraries, CudaFunctionsHaveTheVersionOfTheRealOnes) {
  void* const cudart = load(CUDART);
  for (const char* name : {"cudaMalloc", "cudaGetErrorString", "cudaMemcpyAsync"}) {
    EXPECT_NE(dlvsym(cudart, name, "libcudart.so.12"), nullptr) << name;
  }
  dlclose(cudart);
}

}  // namespace
