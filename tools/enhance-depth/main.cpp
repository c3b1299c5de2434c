#include <cstdlib>

#include <sys/resource.h>

#include "commands/application.h"
#include "image/decoder_limit.h"
#include "support/unfinished_file.h"

int main(int argc, char** argv) {
  enhance_depth_tool::limit_decoders(argv);
  enhance_depth_tool::remove_unfinished_files_on_signals();
  const int status = enhance_depth_tool::run(argc, argv);
  // Under a limit of its address space OpenBLAS, which OpenCV brings along, may have a thread that waits for
  // memory forever, and for which it waits at the end. Nothing is left to do there.
  rlimit address_space{};
  if (getrlimit(RLIMIT_AS, &address_space) == 0 && address_space.rlim_cur != RLIM_INFINITY) {
    std::_Exit(status);
  }
  return status;
}
