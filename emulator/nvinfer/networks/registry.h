// The networks by name.
#ifndef EMULATED_BOARD_NVINFER_NETWORKS_REGISTRY_H
#define EMULATED_BOARD_NVINFER_NETWORKS_REGISTRY_H

#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "nvinfer/networks/network.h"

namespace emulated_board::nvinfer {

// Its text says why a network cannot be created.
class NetworkError : public std::invalid_argument {
 public:
  using std::invalid_argument::invalid_argument;
};

// The parameters of a network. The network takes each that it knows; those that are left are unknown.
class Parameters {
 public:
  explicit Parameters(std::map<std::string, double, std::less<>> values) : values_(std::move(values)) {}

  // Removes and returns a parameter, or returns `fallback`. Throws NetworkError outside of `least` to `most`.
  double take(std::string_view name, double fallback, double least, double most);
  // Any value that a float can hold, including infinities and NaN. Throws NetworkError for others.
  float take_float(std::string_view name, float fallback);
  // The same for integers.
  int take_integer(std::string_view name, int fallback, int least, int most);

  // Throws NetworkError if any is left.
  void expect_none_left(std::string_view network) const;

 private:
  double take(std::string_view name, double fallback);

  std::map<std::string, double, std::less<>> values_;
};

// Throws NetworkError for an unknown name and for unknown or invalid parameters.
std::unique_ptr<const Network> make_network(std::string_view name, Parameters parameters);

// The makers, one per network.
std::unique_ptr<const Network> make_guided_filter(Parameters& parameters);
std::unique_ptr<const Network> make_scale_offset(Parameters& parameters);
std::unique_ptr<const Network> make_constant(Parameters& parameters);
std::unique_ptr<const Network> make_special_values(Parameters& parameters);
std::unique_ptr<const Network> make_rgb_sum(Parameters& parameters);
std::unique_ptr<const Network> make_nothing(Parameters& parameters);
std::unique_ptr<const Network> make_fail(Parameters& parameters);

}  // namespace emulated_board::nvinfer

#endif  // EMULATED_BOARD_NVINFER_NETWORKS_REGISTRY_H
