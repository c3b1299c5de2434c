// Reads a serialized engine from disk.
#ifndef ENHANCE_DEPTH_ENGINE_ENGINE_FILE_H
#define ENHANCE_DEPTH_ENGINE_ENGINE_FILE_H

#include <cstdint>
#include <memory>
#include <string>

namespace enhance_depth {

// Reads the whole file at `path` into `data` and its length into `size`. The file must be regular, readable
// and not empty; anything else is refused without blocking on it. On failure returns false, leaves `data` and
// `size` alone and writes the reason and the path into `message`, the reason first, so that a record that is
// too short for a long path still tells it. Throws std::bad_alloc when the file is larger than memory.
bool read_engine_file(const char* path, std::unique_ptr<std::uint8_t[]>& data, std::uint64_t& size,
                      std::string& message);

}  // namespace enhance_depth

#endif  // ENHANCE_DEPTH_ENGINE_ENGINE_FILE_H
