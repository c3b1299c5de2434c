#include "inspect/contract.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <utility>

#include "support/text.h"

namespace enhance_depth_tool {
namespace {

// The size that the library configures when it loads an engine.
constexpr std::int64_t kHeight = 480;
constexpr std::int64_t kWidth = 640;

struct Role {
  const char* name;
  const char* what;
  const char* type;
  Direction direction;
  bool required;
};

constexpr Role kRoles[] = {
    {"rgb", "colour image", "UINT8", Direction::kInput, true},
    {"dep", "depth image", "FLOAT", Direction::kInput, true},
    {"pred", "refined depth", "FLOAT", Direction::kOutput, true},
    {"confidence_output", "confidence", "FLOAT", Direction::kOutput, false},
};

bool is_role(const std::string& name) {
  return std::any_of(std::begin(kRoles), std::end(kRoles),
                     [&](const Role& role) { return name == role.name; });
}

const TensorInfo* find_tensor(const ModelInfo& model, const std::string& name) {
  const auto found = std::find_if(model.tensors.begin(), model.tensors.end(),
                                  [&](const TensorInfo& tensor) { return tensor.name == name; });
  return found == model.tensors.end() ? nullptr : &*found;
}

// The shape that an input takes for an image of kHeight x kWidth pixels; empty when no rank fits.
Shape wanted_shape(const std::string& name, std::size_t rank) {
  if (name == "rgb" && rank == 3) {
    return {kHeight, kWidth, 3};
  }
  if (rank == 4) {
    return {1, name == "rgb" ? 3 : 1, kHeight, kWidth};
  }
  return {};
}

const char* wanted_text(const std::string& name, std::size_t rank) {
  if (name == "dep") {
    return "(1, 1, H, W)";
  }
  return rank == 3 ? "(H, W, 3)" : rank == 4 ? "(1, 3, H, W)" : "(1, 3, H, W) or (H, W, 3)";
}

bool is_dynamic(const Shape& shape) {
  return std::any_of(shape.begin(), shape.end(), [](std::int64_t dimension) { return dimension < 0; });
}

// Of a shape without dynamic dimensions, at most one more than an image of kHeight x kWidth pixels has.
std::int64_t element_count(const Shape& shape) {
  std::int64_t count = 1;
  for (const std::int64_t dimension : shape) {
    count *= std::min(dimension, kHeight * kWidth + 1);
    count = std::min(count, kHeight * kWidth + 1);
  }
  return count;
}

class Checker {
 public:
  explicit Checker(const ModelInfo& model) : model_(model) {}

  std::vector<Violation> run() {
    for (const Role& role : kRoles) {
      check_role(role);
    }
    check_other_tensors();
    if (model_.profiles) {
      check_profiles(*model_.profiles);
    }
    return std::move(violations_);
  }

 private:
  void violation(const std::string& subject, const std::string& text) {
    violations_.push_back({subject, text});
  }

  void check_role(const Role& role) {
    const TensorInfo* tensor = find_tensor(model_, role.name);
    if (tensor == nullptr) {
      if (role.required) {
        violation(role.name, std::string("there is no such tensor; name the ") +
                                 direction_name(role.direction) + " that holds the " + role.what + " \"" +
                                 role.name + "\"" + candidates(role) + ".");
      }
      return;
    }
    if (tensor->direction != role.direction) {
      violation(role.name, std::string("it is an ") + direction_name(tensor->direction) + "; make it an " +
                               direction_name(role.direction) + ".");
      return;  // its shape is reported with another tensor
    }
    if (tensor->type != role.type) {
      const bool color = role.type == std::string("UINT8");
      violation(role.name, "its type is " + tensor->type + "; make it " + role.type +
                               (color ? " and cast it to FLOAT inside the network."
                                      : ", with a cast inside the network if need be."));
    } else if (role.type == std::string("UINT8") && !tensor->used_uncast_by.empty()) {
      violation(role.name,
                "the operator " + display_name(tensor->used_uncast_by) +
                    " takes it as UINT8, in which TensorRT computes nothing; cast it to FLOAT before.");
    }
    if (!tensor->shape) {
      violation(role.name, "the file gives no shape for it; export the model with shapes.");
    } else if (role.direction == Direction::kInput) {
      check_input_shape(role.name, *tensor->shape);
    } else {
      check_output_shape(role.name, *tensor->shape);
    }
  }

  // Tensors that may be meant for a role that is missing.
  std::string candidates(const Role& role) const {
    constexpr int kMost = 4;
    int count = 0;
    std::string names;
    for (const TensorInfo& tensor : model_.tensors) {
      if (tensor.direction == role.direction && !is_role(tensor.name) && ++count <= kMost) {
        names += (names.empty() ? " (is it \"" : "\" or \"") + display_name(tensor.name);
      }
    }
    return names.empty() ? "" : names + "\"?)";
  }

  void check_input_shape(const std::string& name, const Shape& shape) {
    const Shape wanted = wanted_shape(name, shape.size());
    const std::string wanted_form = wanted_text(name, shape.size());
    if (wanted.empty()) {
      violation(name, "its shape " + shape_text(shape) + " has rank " + std::to_string(shape.size()) +
                          "; make it " + wanted_form + ".");
      return;
    }
    bool size_fits = true;
    for (std::size_t i = 0; i < shape.size(); ++i) {
      if (shape[i] < 0 || shape[i] == wanted[i]) {
        continue;
      }
      if (wanted[i] != kHeight && wanted[i] != kWidth) {
        violation(name, "its shape is " + shape_text(shape) + "; make it " + wanted_form + ".");
        return;
      }
      size_fits = false;
    }
    if (!size_fits) {
      violation(name, "its shape " + shape_text(shape) + " does not admit " + image_size(kWidth, kHeight) +
                          " pixels, which the library sets up first; make it " + wanted_form +
                          " with H and W dynamic.");
    }
  }

  // Any rank will do, as long as there is one element per pixel, whatever the image's size.
  void check_output_shape(const std::string& name, const Shape& shape) {
    if (is_dynamic(shape)) {
      const bool fits = std::all_of(shape.begin(), shape.end(), [&](std::int64_t dimension) {
        return dimension < 0 || dimension == 1 || input_has_dimension(dimension);
      });
      if (!fits) {
        violation(name, "its shape " + shape_text(shape) +
                            " does not have one element per pixel; make it (1, 1, H, W).");
      }
      return;
    }
    if (element_count(shape) != kHeight * kWidth) {
      violation(name, "its shape " + shape_text(shape) + " does not have one element per pixel of " +
                          image_size(kWidth, kHeight) + "; make it (1, 1, H, W).");
    } else if (!input_has_dimension(kHeight) || !input_has_dimension(kWidth)) {
      violation(name, "its shape " + shape_text(shape) +
                          " is fixed while the inputs are dynamic; make it (1, 1, H, W) with their H and W.");
    }
  }

  // Whether the depth input is fixed to this dimension.
  bool input_has_dimension(std::int64_t dimension) const {
    return std::any_of(model_.tensors.begin(), model_.tensors.end(), [&](const TensorInfo& tensor) {
      return tensor.name == "dep" && tensor.shape &&
             std::find(tensor.shape->begin(), tensor.shape->end(), dimension) != tensor.shape->end();
    });
  }

  void check_other_tensors() {
    const std::size_t count = model_.tensors.size();
    for (const TensorInfo& tensor : model_.tensors) {
      if (is_role(tensor.name)) {
        continue;
      }
      violation(display_name(tensor.name),
                std::string("the library knows no such ") + direction_name(tensor.direction) +
                    " and leaves it unbound, with which TensorRT does not run; remove or rename it.");
    }
    if (count < 3 || count > 4) {
      violation("tensors", "there are " + std::to_string(count) +
                               "; the library takes 3 or 4: rgb, dep, pred and, if there is confidence, "
                               "confidence_output.");
    }
  }

  void check_profiles(const std::vector<ProfileInfo>& profiles) {
    const std::string size = image_size(kWidth, kHeight);
    if (profiles.empty()) {
      violation("profiles", "there is none; add one that admits " + size + " pixels.");
      return;
    }
    constexpr std::size_t kMost = 8;
    std::string refusals;
    for (std::size_t i = 0; i < profiles.size(); ++i) {
      const std::string refusal = refusal_of(profiles[i]);
      if (refusal.empty()) {
        return;  // one is enough
      }
      if (i >= kMost) {
        continue;
      }
      refusals += (refusals.empty() ? " (profile " : "; profile ") + std::to_string(i) + ": " + refusal;
    }
    violation("profiles", "none admits " + size +
                              " pixels, which the library sets up first; widen one or add one" + refusals +
                              ").");
  }

  // Why a profile does not admit kHeight x kWidth pixels; empty when it does.
  std::string refusal_of(const ProfileInfo& profile) const {
    std::string refusal;
    for (const char* name : {"rgb", "dep"}) {
      const TensorInfo* tensor = find_tensor(model_, name);
      if (tensor == nullptr || !tensor->shape) {
        continue;  // reported elsewhere
      }
      const Shape wanted = wanted_shape(name, tensor->shape->size());
      if (wanted.empty()) {
        continue;
      }
      const auto range = profile.find(name);
      std::string reason;
      if (range == profile.end()) {
        reason = "no range for " + std::string(name);
      } else if (!admits(range->second, wanted)) {
        reason = std::string(name) + " from " + shape_text(range->second.min) + " to " +
                 shape_text(range->second.max);
      }
      if (!reason.empty()) {
        refusal += (refusal.empty() ? "" : ", ") + reason;
      }
    }
    return refusal;
  }

  static bool admits(const ShapeRange& range, const Shape& shape) {
    if (range.min.size() != shape.size() || range.max.size() != shape.size()) {
      return false;
    }
    for (std::size_t i = 0; i < shape.size(); ++i) {
      if (shape[i] < range.min[i] || shape[i] > range.max[i]) {
        return false;
      }
    }
    return true;
  }

  const ModelInfo& model_;
  std::vector<Violation> violations_;
};

}  // namespace

std::vector<Violation> check_contract(const ModelInfo& model) { return Checker(model).run(); }

}  // namespace enhance_depth_tool
