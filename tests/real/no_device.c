/* Stands in for the driver, libcuda.so.1, on a machine whose driver finds no GPU. */
int cuInit(unsigned int flags);
int cuDriverGetVersion(int* version);

int cuInit(unsigned int flags) {
  (void)flags;
  return 100; /* CUDA_ERROR_NO_DEVICE */
}

int cuDriverGetVersion(int* version) {
  *version = 12060;
  return 0;
}
