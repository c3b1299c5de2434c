/* Creates a handle and prints how that ended: "created", or the code and the text. */
#include <enhance_depth.h>
#include <stdio.h>

int main(int argc, char** argv) {
  enhance_error* error = NULL;
  enhance_depth_handle handle = enhance_depth_create(argc > 1 ? argv[1] : NULL, &error);
  if (handle != NULL) {
    puts("created");
  } else if (error != NULL) {
    printf("code %d: %s\n", (int)error->error_code, error->message);
  } else {
    puts("failed without a record");
  }
  enhance_delete_error(error);
  enhance_depth_destroy(handle);
  return 0;
}
