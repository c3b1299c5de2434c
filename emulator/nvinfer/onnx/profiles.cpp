#include "nvinfer/onnx/profiles.h"

#include <charconv>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "nvinfer/tensors.h"

namespace emulated_board::nvinfer {

using nvinfer1::Dims;

namespace {

constexpr std::string_view kPrefix = "enhance_depth.profile.";

// Removes a number from the beginning of `text` and returns it.
template <typename Number>
std::optional<Number> take_number(std::string_view& text) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || number < 0) {
    return std::nullopt;
  }
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return number;
}

std::optional<Dims> read_shape(std::string_view text) {
  Dims shape{};
  while (shape.nbDims < Dims::MAX_DIMS) {
    const auto dimension = take_number<std::int64_t>(text);
    if (!dimension) {
      return std::nullopt;
    }
    shape.d[shape.nbDims++] = *dimension;
    if (text.empty()) {
      return shape;
    }
    if (text.front() != 'x') {
      return std::nullopt;
    }
    text.remove_prefix(1);
  }
  return std::nullopt;
}

// The number, the input and the selector of a key that begins with kPrefix.
struct ProfileKey {
  std::size_t profile;
  std::string_view input;
  std::string_view selector;
};

std::optional<ProfileKey> read_key(std::string_view key) {
  key.remove_prefix(kPrefix.size());
  const auto profile = take_number<std::size_t>(key);
  const std::size_t last = key.rfind('.');
  if (!profile || key.empty() || key.front() != '.' || last == 0) {
    return std::nullopt;
  }
  return ProfileKey{*profile, key.substr(1, last - 1), key.substr(last + 1)};
}

Dims* selected(ShapeRange& range, std::string_view selector) {
  if (selector == "min") {
    return &range.min;
  }
  if (selector == "opt") {
    return &range.opt;
  }
  return selector == "max" ? &range.max : nullptr;
}

// A range that is complete and belongs to the tensor.
bool fits(const ShapeRange& range, const Dims& tensor) {
  for (const Dims* shape : {&range.min, &range.opt, &range.max}) {
    if (shape->nbDims != tensor.nbDims) {
      return false;
    }
  }
  for (int i = 0; i < tensor.nbDims; ++i) {
    const bool is_ordered =
        1 <= range.min.d[i] && range.min.d[i] <= range.opt.d[i] && range.opt.d[i] <= range.max.d[i];
    const bool is_free = tensor.d[i] == -1;
    if (!is_ordered || (!is_free && (range.min.d[i] != tensor.d[i] || range.max.d[i] != tensor.d[i]))) {
      return false;
    }
  }
  return true;
}

ShapeRange widest_range(const Dims& tensor) {
  ShapeRange range{tensor, tensor, tensor};
  for (int i = 0; i < tensor.nbDims; ++i) {
    if (tensor.d[i] != -1) {
      continue;
    }
    range.min.d[i] = 1;
    range.opt.d[i] = range.max.d[i] = kLargestDimension;
  }
  return range;
}

// The metadata by profile; only their syntax has been checked.
std::map<std::size_t, ProfileDescription> read_profiles(const Metadata& metadata) {
  std::map<std::size_t, ProfileDescription> profiles;
  for (auto entry = metadata.lower_bound(kPrefix);
       entry != metadata.end() && entry->first.compare(0, kPrefix.size(), kPrefix) == 0; ++entry) {
    const auto key = read_key(entry->first);
    const auto shape = read_shape(entry->second);
    ShapeRange unused;
    if (!key || selected(unused, key->selector) == nullptr || !shape) {
      throw std::invalid_argument("the metadata \"" + entry->first + "\" = \"" + entry->second +
                                  "\" name no profile; it must be like \"" + std::string(kPrefix) +
                                  "0.rgb.min\" = \"1x3x120x160\", with min, opt or max");
    }
    *selected(profiles[key->profile][std::string(key->input)], key->selector) = *shape;
  }
  return profiles;
}

}  // namespace

std::vector<ProfileDescription> make_profiles(const std::vector<TensorDescription>& tensors,
                                              const Metadata& metadata) {
  auto named = read_profiles(metadata);
  const bool is_said = !named.empty();
  if (!is_said) {
    named[0];
  }

  std::vector<ProfileDescription> profiles;
  for (auto& [number, ranges] : named) {
    const std::string what = "profile " + std::to_string(number) + " of the metadata ";
    if (number != profiles.size()) {
      throw std::invalid_argument(what + "comes without those before it");
    }
    ProfileDescription profile;
    for (const TensorDescription& tensor : tensors) {
      if (tensor.mode != nvinfer1::TensorIOMode::kINPUT) {
        continue;
      }
      ShapeRange range = widest_range(tensor.shape);
      if (const auto found = ranges.find(tensor.name); found != ranges.end()) {
        range = found->second;
        if (range.opt.nbDims == 0) {
          range.opt = range.max;
        }
        if (!fits(range, tensor.shape)) {
          throw std::invalid_argument(what + "needs for \"" + tensor.name + "\" min <= opt <= max that fit " +
                                      to_text(tensor.shape));
        }
        ranges.erase(found);
      } else if (is_said && !is_concrete(tensor.shape)) {
        throw std::invalid_argument(what + "has no shapes for \"" + tensor.name + "\"");
      }
      profile.emplace(tensor.name, range);
    }
    if (!ranges.empty()) {
      throw std::invalid_argument(what + "names \"" + ranges.begin()->first + "\", which is no input");
    }
    profiles.push_back(std::move(profile));
  }
  return profiles;
}

}  // namespace emulated_board::nvinfer
