#include "nvinfer/networks/registry.h"

#include <array>
#include <cmath>
#include <limits>
#include <sstream>

namespace emulated_board::nvinfer {

namespace {

struct Entry {
  std::string_view name;
  std::unique_ptr<const Network> (*make)(Parameters&);
};

constexpr std::array kNetworks{
    Entry{"guided-filter", make_guided_filter},
    Entry{"scale-offset", make_scale_offset},
    Entry{"constant", make_constant},
    Entry{"special-values", make_special_values},
    Entry{"rgb-sum", make_rgb_sum},
    Entry{"nothing", make_nothing},
    Entry{"fail", make_fail},
};

}  // namespace

double Parameters::take(std::string_view name, double fallback) {
  const auto found = values_.find(name);
  if (found == values_.end()) {
    return fallback;
  }
  const double value = found->second;
  values_.erase(found);
  return value;
}

double Parameters::take(std::string_view name, double fallback, double least, double most) {
  const double value = take(name, fallback);
  if (value >= least && value <= most) {
    return value;
  }
  std::ostringstream text;
  text << "parameter \"" << name << "\" is " << value << "; it must be from " << least << " to " << most;
  throw NetworkError(text.str());
}

float Parameters::take_float(std::string_view name, float fallback) {
  constexpr double kLargest = std::numeric_limits<float>::max();
  const double value = take(name, double{fallback});
  if (std::isfinite(value) && std::abs(value) > kLargest) {
    throw NetworkError("parameter \"" + std::string(name) + "\" is too large for a float");
  }
  return static_cast<float>(value);
}

int Parameters::take_integer(std::string_view name, int fallback, int least, int most) {
  const double value = take(name, fallback, least, most);
  if (value == std::floor(value)) {
    return static_cast<int>(value);
  }
  throw NetworkError("parameter \"" + std::string(name) + "\" must be a whole number");
}

void Parameters::expect_none_left(std::string_view network) const {
  if (values_.empty()) {
    return;
  }
  throw NetworkError("network \"" + std::string(network) + "\" has no parameter \"" + values_.begin()->first +
                     "\"");
}

std::unique_ptr<const Network> make_network(std::string_view name, Parameters parameters) {
  std::string known;
  for (const Entry& entry : kNetworks) {
    if (entry.name == name) {
      auto network = entry.make(parameters);
      parameters.expect_none_left(name);
      return network;
    }
    known.append(known.empty() ? "" : ", ").append(entry.name);
  }
  throw NetworkError("there is no network \"" + std::string(name) + "\"; there are " + known);
}

const BoundTensor* find_input(const std::vector<BoundTensor>& tensors, std::string_view name,
                              nvinfer1::DataType type) {
  for (const BoundTensor& tensor : tensors) {
    if (!tensor.output && tensor.name == name && tensor.type == type) {
      return &tensor;
    }
  }
  return nullptr;
}

}  // namespace emulated_board::nvinfer
