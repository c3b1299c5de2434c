// Reads a serialized engine from disk.
#ifndef ENHANCE_DEPTH_ENGINE_ENGINE_FILE_H
#define ENHANCE_DEPTH_ENGINE_ENGINE_FILE_H

#include <cstdint>
#include <memory>
#include <string>

namespace enhance_depth {

// Reads the whole file at `path` into `data` and its length into `size`. The file must be regular, readable
// and not empty; anything else is refused without blocking on it. On failure returns false, leaves `data` and
// `size` unchanged and writes reason and path into `message`: the reason first, so that it survives when a
// record cuts a long path. Throws std::bad_alloc if the file does not fit into memory.
bool read_engine_file(const char* path, std::unique_ptr<std::uint8_t[]>& data, std::uint64_t& size,
                      std::string& message);

}  // namespace enhance_depth

#endif  // ENHANCE_DEPTH_ENGINE_ENGINE_FILE_H
