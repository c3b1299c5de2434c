// toml++ for untrusted input. Malformed input such as "[=" violates some assertions of its parser, and with
// NDEBUG these become assumptions of the optimizer. Here they are checked in all builds and throw, so that
// such input is refused like any other that is not TOML.
#ifndef EMULATED_BOARD_NVINFER_CHECKED_TOML_H
#define EMULATED_BOARD_NVINFER_CHECKED_TOML_H

#include <stdexcept>

namespace emulated_board::nvinfer {

class TomlAssertion : public std::logic_error {
 public:
  using std::logic_error::logic_error;
};

constexpr void check_toml_assertion(bool holds) {
  if (!holds) {
    throw TomlAssertion("it is not well-formed TOML");
  }
}

}  // namespace emulated_board::nvinfer

#ifdef NDEBUG
#undef NDEBUG
#define EMULATED_BOARD_NDEBUG
#endif
#define TOML_ASSERT(condition) ::emulated_board::nvinfer::check_toml_assertion(static_cast<bool>(condition))
#include <toml++/toml.h>
#ifdef EMULATED_BOARD_NDEBUG
#undef EMULATED_BOARD_NDEBUG
#define NDEBUG
#endif

#endif  // EMULATED_BOARD_NVINFER_CHECKED_TOML_H
